#pragma once
// Scaffold: replaced by the real control class.
#include "ComObject.h"
#include "Linnograph.h"

class CLinnographCtl : public CComRoot, public IPersist
{
public:
    QVX_BEGIN_INTERFACES(CLinnographCtl)
        QVX_INTERFACE(CLinnographCtl, IPersist),
    QVX_END_INTERFACES()
    STDMETHODIMP GetClassID(CLSID* clsid) override { if (!clsid) return E_POINTER; *clsid = CLSID_LinnographCtl; return S_OK; }
};
