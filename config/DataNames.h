#pragma once
// A read-only list of names for the host: the configuration pages of the control, the names of
// its configured channels and events, the active channel. Positions count from 1.
#include <windows.h>
#include <new>
#include <string>
#include <vector>
#include "com/ComObject.h"
#include "Interfaces.h"

class CDataNames : public CComRoot, public IQvxDataNames
{
public:
    QVX_BEGIN_INTERFACES(CDataNames)
        QVX_INTERFACE(CDataNames, IQvxDataNames),
    QVX_END_INTERFACES()

    // A new empty list with one reference; null when out of memory.
    static CComPtr<CDataNames> Make();

    // E_OUTOFMEMORY, and the list as it was, when the name cannot be kept.
    HRESULT Append(const std::wstring& name);

    // --- IQvxDataNames ---
    STDMETHODIMP GetCount(long* count) override;
    // E_INVALIDARG for a position outside 1 to the count.
    STDMETHODIMP GetName(long index, BSTR* name) override;

private:
    std::vector<std::wstring> Names;
};
