#pragma once
// A fixed list of names (IQvxDataNames), positions from 1.
#include <string>
#include <vector>
#include "sim/SimObject.h"

class CNameList : public CComRoot, public IQvxDataNames
{
public:
    QVX_BEGIN_INTERFACES(CNameList)
        QVX_INTERFACE(CNameList, IQvxDataNames),
    QVX_END_INTERFACES()

    void Init(std::vector<std::wstring> names) { Names = std::move(names); }

    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetName(long index, BSTR* name) override;

    // A new list, handed out through `out`.
    static HRESULT Make(std::vector<std::wstring> names, IQvxDataNames** out);

private:
    std::vector<std::wstring> Names;
};
