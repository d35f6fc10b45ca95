#include "sim/HostArrays.h"
#include <objidl.h>
#include <atomic>
#include <cstring>
#include <map>
#include <mutex>
#include <string_view>
#include <vector>

namespace {

// A block of the task allocator.
struct CBlock
{
    char* Start = nullptr;
    SIZE_T Size = 0;
};

// What the allocator tells while an array is made on this thread. Kept per thread and without
// the ledger's lock, since the allocator calls in with a lock of its own held.
thread_local bool Capturing = false;
thread_local SIZE_T PendingSize = 0;
thread_local std::vector<CBlock> Captured;

// An array that is alive, and whether it counts in the present round.
struct CLiveArray
{
    SAFEARRAY* Array = nullptr;
    unsigned Round = 0;
};

struct CLedger
{
    std::mutex Lock;
    // The block that holds an array's descriptor -> the array. The array goes with that block.
    std::map<void*, CLiveArray> Live;
    unsigned Round = 1;
    LONG HandedOut = 0;
    LONG Destroyed = 0;
    bool Watching = false;
};

// Never destroyed: the allocator may call the watch while the process ends.
CLedger& Ledger()
{
    static CLedger* ledger = new CLedger;
    return *ledger;
}

// Sees every allocation and release of the task allocator, and changes none.
class CAllocatorWatch : public IMallocSpy
{
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** out) override
    {
        if (!out) return E_POINTER;
        *out = (iid == IID_IUnknown || iid == IID_IMallocSpy) ? static_cast<IMallocSpy*>(this) : nullptr;
        return *out ? S_OK : E_NOINTERFACE;
    }
    // A static object, never deleted.
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }

    STDMETHODIMP_(SIZE_T) PreAlloc(SIZE_T size) override
    {
        PendingSize = size;
        return size;
    }
    STDMETHODIMP_(void*) PostAlloc(void* actual) override
    {
        if (Capturing && actual) Captured.push_back({static_cast<char*>(actual), PendingSize});
        return actual;
    }
    STDMETHODIMP_(void*) PreFree(void* request, BOOL) override
    {
        if (request) {
            CLedger& ledger = Ledger();
            std::lock_guard<std::mutex> hold(ledger.Lock);
            if (auto live = ledger.Live.find(request); live != ledger.Live.end()) {
                if (live->second.Round == ledger.Round) ++ledger.Destroyed;
                ledger.Live.erase(live);
            }
        }
        return request;
    }
    STDMETHODIMP_(void) PostFree(BOOL) override {}
    STDMETHODIMP_(SIZE_T) PreRealloc(void* request, SIZE_T size, void** actual, BOOL) override
    {
        *actual = request;
        return size;
    }
    STDMETHODIMP_(void*) PostRealloc(void* actual, BOOL) override { return actual; }
    STDMETHODIMP_(void*) PreGetSize(void* request, BOOL) override { return request; }
    STDMETHODIMP_(SIZE_T) PostGetSize(SIZE_T size, BOOL) override { return size; }
    STDMETHODIMP_(void*) PreDidAlloc(void* request, BOOL) override { return request; }
    STDMETHODIMP_(int) PostDidAlloc(void*, BOOL, int actual) override { return actual; }
    STDMETHODIMP_(void) PreHeapMinimize() override {}
    STDMETHODIMP_(void) PostHeapMinimize() override {}
};

// Whether the watch is wanted, and whether it stands.
std::atomic<bool> Wanted{true};
std::atomic<bool> Started{false};

// Watches the allocator from the first array on; only one watch can hold a process. The watch
// is never revoked, so the module that holds it stays loaded for the life of the process.
bool StartWatching()
{
    if (!Wanted) return false;
    static const bool watching = [] {
        Started = true;
        static CAllocatorWatch watch;
        HMODULE self = nullptr;
        if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                                reinterpret_cast<LPCWSTR>(&watch), &self))
            return false;
        return SUCCEEDED(CoRegisterMallocSpy(&watch));
    }();
    return watching;
}

} // namespace

HRESULT CHostArrays::Make(VARTYPE type, LONG lowerBound, const void* items, ULONG count, SAFEARRAY** out)
{
    if (!out) return E_POINTER;
    *out = nullptr;
    const bool watching = StartWatching();
    Captured.clear();
    Capturing = true;
    SAFEARRAY* array = SafeArrayCreateVector(type, lowerBound, count);
    Capturing = false;
    if (!array) return E_OUTOFMEMORY;
    void* target = nullptr;
    if (FAILED(SafeArrayAccessData(array, &target))) {
        SafeArrayDestroy(array);
        return E_FAIL;
    }
    if (count) std::memcpy(target, items, size_t(count) * SafeArrayGetElemsize(array));
    SafeArrayUnaccessData(array);

    CLedger& ledger = Ledger();
    std::lock_guard<std::mutex> hold(ledger.Lock);
    ledger.Watching = watching;
    ++ledger.HandedOut;
    const char* descriptor = reinterpret_cast<const char*>(array);
    for (const CBlock& block : Captured) {
        if (block.Start <= descriptor && descriptor < block.Start + block.Size)
            ledger.Live[block.Start] = {array, ledger.Round};
    }
    *out = array;
    return S_OK;
}

bool CHostArrays::Watch(bool watch)
{
    if (!watch && Started) return false;
    Wanted = watch;
    return true;
}

CArrayBalance CHostArrays::Balance()
{
    CLedger& ledger = Ledger();
    std::lock_guard<std::mutex> hold(ledger.Lock);
    CArrayBalance balance;
    balance.HandedOut = ledger.HandedOut;
    balance.Destroyed = ledger.Destroyed;
    balance.Watching = ledger.Watching || ledger.HandedOut == 0;
    // A live array's descriptor is still valid memory.
    for (const auto& [block, live] : ledger.Live) {
        if (live.Round == ledger.Round && live.Array->cLocks > 0) ++balance.Locked;
    }
    return balance;
}

void CHostArrays::Reset()
{
    CLedger& ledger = Ledger();
    std::lock_guard<std::mutex> hold(ledger.Lock);
    ++ledger.Round;
    ledger.HandedOut = 0;
    ledger.Destroyed = 0;
}

bool CHostArrays::Figure(std::wstring_view asked, LONG& value)
{
    const CArrayBalance balance = Balance();
    if (asked == L"Arrays.HandedOut") value = balance.HandedOut;
    else if (asked == L"Arrays.Destroyed") value = balance.Destroyed;
    else if (asked == L"Arrays.Locked") value = balance.Locked;
    else if (asked == L"Arrays.Outstanding") value = balance.Outstanding();
    else return false;
    return true;
}
