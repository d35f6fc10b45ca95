#pragma once
// The host's units: for each quantity a base unit (unit 0) and further units, each a scale
// and an offset from the base; and the names of quantities, which are also the texts of
// channel key ids.
#include "sim/SimObject.h"

class CUnitConverter : public CComRoot, public IQvxUnitConverter
{
public:
    QVX_BEGIN_INTERFACES(CUnitConverter)
        QVX_INTERFACE(CUnitConverter, IQvxUnitConverter),
    QVX_END_INTERFACES()

    STDMETHODIMP Convert(double value, long quantity, long fromUnit, long toUnit, double* result) override;
    QVX_RESERVED(1)
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    QVX_RESERVED(4)
    STDMETHODIMP GetQuantityText(long id, BSTR* text) override;
    QVX_RESERVED(6)
    STDMETHODIMP GetUnitText(long quantity, long unit, BSTR* text) override;
};
