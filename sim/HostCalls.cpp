#include "sim/HostCalls.h"
#include "sim/HostArrays.h"
#include <map>
#include <vector>

namespace {

struct CFaults
{
    std::map<std::wstring, HRESULT, std::less<>> ByName;
    unsigned Generation = 1;
    std::vector<CHostCall*> Calls;
};

CFaults& Faults()
{
    static CFaults faults;
    return faults;
}

int InternalDepth = 0;

} // namespace

CInternalHostCalls::CInternalHostCalls() noexcept
{
    ++InternalDepth;
}

CInternalHostCalls::~CInternalHostCalls()
{
    --InternalDepth;
}

bool CInternalHostCalls::Active() noexcept
{
    return InternalDepth > 0;
}

CHostCall::CHostCall(const wchar_t* name) : FullName(name)
{
    CHostCalls::Register(this);
}

std::wstring_view CHostCall::Operation() const noexcept
{
    size_t dot = FullName.rfind(L'.');
    return dot == std::wstring_view::npos ? FullName : FullName.substr(dot + 1);
}

HRESULT CHostCall::Enter()
{
    if (InternalDepth > 0) return S_OK;
    ++Count;
    // The faults are looked up again only after they changed.
    unsigned generation = CHostCalls::Generation();
    if (generation != FaultGeneration) {
        Fault = CHostCalls::FaultFor(*this);
        FaultGeneration = generation;
    }
    return Fault;
}

void CHostCalls::Register(CHostCall* call)
{
    Faults().Calls.push_back(call);
}

unsigned CHostCalls::Generation()
{
    return Faults().Generation;
}

HRESULT CHostCalls::FaultFor(const CHostCall& call)
{
    const auto& byName = Faults().ByName;
    if (auto it = byName.find(call.Name()); it != byName.end()) return it->second;
    if (auto it = byName.find(call.Operation()); it != byName.end()) return it->second;
    return S_OK;
}

HRESULT CHostCalls::SetFault(std::wstring_view name, HRESULT status)
{
    if (name.empty()) return E_INVALIDARG;
    if (status == S_OK) {
        if (auto it = Faults().ByName.find(name); it != Faults().ByName.end()) Faults().ByName.erase(it);
    } else if (FAILED(status)) {
        Faults().ByName[std::wstring(name)] = status;
    } else {
        return E_INVALIDARG;
    }
    ++Faults().Generation;
    return S_OK;
}

void CHostCalls::ClearFaults()
{
    Faults().ByName.clear();
    ++Faults().Generation;
}

LONG CHostCalls::CallCount(std::wstring_view name)
{
    LONG total = 0;
    if (CHostArrays::Figure(name, total)) return total;
    for (const CHostCall* call : Faults().Calls) {
        if (call->Name() == name || call->Operation() == name) total += call->Count;
    }
    return total;
}

void CHostCalls::ResetCounts()
{
    for (CHostCall* call : Faults().Calls) call->Count = 0;
    CHostArrays::Reset();
}
