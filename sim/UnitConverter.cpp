#include "sim/UnitConverter.h"
#include <iterator>
#include <vector>

namespace {

// A unit: value in it = base value * Scale + Offset.
struct CUnit
{
    const wchar_t* Symbol;
    double Scale;
    double Offset;
};

struct CQuantity
{
    const wchar_t* Name;
    std::vector<CUnit> Units;
};

// Quantity 0 is a channel without a physical quantity: one unit, no symbol.
const CQuantity Quantities[] = {
    {L"", {{L"", 1.0, 0.0}}},
    {L"Speed", {{L"m/s", 1.0, 0.0}, {L"km/h", 3.6, 0.0}, {L"mph", 2.2369362920544025, 0.0}}},
    {L"Rotational speed", {{L"rpm", 1.0, 0.0}, {L"Hz", 1.0 / 60.0, 0.0}}},
    {L"Distance", {{L"m", 1.0, 0.0}, {L"km", 0.001, 0.0}, {L"mi", 1.0 / 1609.344, 0.0}, {L"mm", 1000.0, 0.0}}},
    {L"Acceleration", {{L"m/s\u00B2", 1.0, 0.0}, {L"g", 1.0 / 9.80665, 0.0}}},
    {L"Pressure", {{L"Pa", 1.0, 0.0}, {L"bar", 1.0e-5, 0.0}, {L"psi", 1.0 / 6894.757293168, 0.0}, {L"kPa", 0.001, 0.0}}},
    {L"Temperature", {{L"K", 1.0, 0.0}, {L"\u00B0C", 1.0, -273.15}, {L"\u00B0F", 1.8, -459.67}}},
    {L"Ratio", {{L"", 1.0, 0.0}, {L"%", 100.0, 0.0}}},
    {L"Time", {{L"s", 1.0, 0.0}, {L"ms", 1000.0, 0.0}, {L"min", 1.0 / 60.0, 0.0}}},
};

const CUnit* FindUnit(long quantity, long unit)
{
    if (quantity < 0 || size_t(quantity) >= std::size(Quantities)) return nullptr;
    const auto& units = Quantities[quantity].Units;
    if (unit < 0 || size_t(unit) >= units.size()) return nullptr;
    return &units[size_t(unit)];
}

} // namespace

STDMETHODIMP CUnitConverter::Convert(double value, long quantity, long fromUnit, long toUnit, double* result)
{
    QVX_HOST_CALL("IQvxUnitConverter.Convert");
    if (!result) return E_POINTER;
    const CUnit* from = FindUnit(quantity, fromUnit);
    const CUnit* to = FindUnit(quantity, toUnit);
    if (!from || !to) return E_INVALIDARG;
    double base = (value - from->Offset) / from->Scale;
    *result = base * to->Scale + to->Offset;
    return S_OK;
}

STDMETHODIMP CUnitConverter::GetQuantityText(long id, BSTR* text)
{
    QVX_HOST_CALL("IQvxUnitConverter.GetQuantityText");
    if (!text) return E_POINTER;
    *text = nullptr;
    if (id < 1 || size_t(id) >= std::size(Quantities)) return E_INVALIDARG;
    *text = SysAllocString(Quantities[id].Name);
    return *text ? S_OK : E_OUTOFMEMORY;
}

STDMETHODIMP CUnitConverter::GetUnitText(long quantity, long unit, BSTR* text)
{
    QVX_HOST_CALL("IQvxUnitConverter.GetUnitText");
    if (!text) return E_POINTER;
    *text = nullptr;
    const CUnit* found = FindUnit(quantity, unit);
    if (!found) return E_INVALIDARG;
    *text = SysAllocString(found->Symbol);
    return *text ? S_OK : E_OUTOFMEMORY;
}
