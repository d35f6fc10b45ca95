#pragma once
// The fault switch and the call counters of the substitute host. Every operation of the host
// interfaces starts with QVX_HOST_CALL("Interface.Operation"): the call is counted, and when a
// fault is set for that name, or for the operation's name alone, the operation returns the
// fault's status at once and does nothing else.
#include <windows.h>
#include <string>
#include <string_view>

class CHostCall
{
public:
    explicit CHostCall(const wchar_t* name);
    CHostCall(const CHostCall&) = delete;
    CHostCall& operator=(const CHostCall&) = delete;

    // Counts the call; gives the fault set for this operation, or S_OK.
    HRESULT Enter();

    std::wstring_view Name() const noexcept { return FullName; }
    // The operation's name without its interface.
    std::wstring_view Operation() const noexcept;
    LONG Count = 0;

private:
    std::wstring_view FullName;
    unsigned FaultGeneration = 0;
    HRESULT Fault = S_OK;
};

// Module-wide: the faults and the registry of call sites.
class CHostCalls
{
public:
    // status 0 (S_OK) removes the fault; a status that is not a failure is refused.
    static HRESULT SetFault(std::wstring_view name, HRESULT status);
    static void ClearFaults();
    // Calls of every site whose full name, or whose operation name, is `name`; or a figure of
    // the balance of arrays handed out (see CHostArrays::Figure).
    static LONG CallCount(std::wstring_view name);
    // Resets the array balance too.
    static void ResetCounts();

private:
    friend class CHostCall;
    static void Register(CHostCall* call);
    static HRESULT FaultFor(const CHostCall& call);
    static unsigned Generation();
};

// While one lives, the substitute's calls into its own objects are neither counted nor made to
// fail: the counters and faults are about what clients call.
class CInternalHostCalls
{
public:
    CInternalHostCalls() noexcept;
    ~CInternalHostCalls();
    CInternalHostCalls(const CInternalHostCalls&) = delete;
    CInternalHostCalls& operator=(const CInternalHostCalls&) = delete;
    static bool Active() noexcept;
};

#define QVX_HOST_CALL(name) \
    do { \
        static CHostCall hostCall_(L##name); \
        if (HRESULT fault_ = hostCall_.Enter(); FAILED(fault_)) return fault_; \
    } while (0)
