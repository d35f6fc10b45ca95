#include "ChannelDataItem.h"
#include "ItemFlags.h"

namespace {

// Reads one property as the variant type `type`; an empty variant when the host fails or the
// value does not convert.
CVariant ReadProperty(IQvxPropertySet* properties, const wchar_t* name, VARTYPE type)
{
    CVariant value;
    if (!properties) return value;
    CBstr key(name);
    if (FAILED(properties->GetProperty(key.Get(), value.Out()))) {
        value.Clear();
        return value;
    }
    if (value.vt != type && FAILED(VariantChangeType(&value, &value, 0, type))) value.Clear();
    return value;
}

struct CPropertyBits
{
    const wchar_t* Name;
    DWORD Bits;
};

constexpr CPropertyBits PropertyBits[] = {
    {L"Display name", ChannelNameStale},
    {L"Color", ChannelColorStale},
    {L"Autoscale", ChannelAutoscaleStale | ChannelRangeStale},
    {L"Display maximum", ChannelRangeStale},
    {L"Display minimum", ChannelRangeStale},
    {L"Unit", ChannelUnitStale},
    {L"User type", ChannelUnitStale},
    {L"Decimal places", ChannelDecimalsStale},
    {L"Y-axis % maximum", ChannelYPercentStale},
    {L"Y-axis % minimum", ChannelYPercentStale},
    {L"Y-axis % enabled", ChannelYPercentStale | ChannelYPercentEnabledStale},
    {L"Interpolation", ChannelInterpolationStale},
    {L"Auxiliary axis", ChannelAuxiliaryAxisStale},
    {L"Alarm condition", ChannelAlarmStale},
    {L"Alarm maximum", ChannelAlarmStale},
    {L"Alarm minimum", ChannelAlarmStale},
    {L"Alarm color", ChannelAlarmColorStale},
};

} // namespace

CChannelDataItem::CChannelDataItem(CTaskDataItem* task, const CBstr& name, IQvxPropertyFactory* factory)
    : Name(name), Task(task)
{
    if (factory) factory->GetPropertySet(Name.Get(), Properties.Out());
    PropertySink = CreateSink<CPropertySink>(static_cast<CPropertySetNotifications2Receiver*>(this));
    if (PropertySink) PropertySink->Advise(Properties);
    CVariant quantity = ReadProperty(Properties, L"Quantity", VT_I4);
    if (quantity.vt == VT_I4) Quantity = quantity.lVal;
}

CChannelDataItem::~CChannelDataItem()
{
    CloseSink(PropertySink, Properties);
}

const CBstr& CChannelDataItem::GetDisplayName()
{
    if (Flags & ChannelNameStale) {
        CVariant value = ReadProperty(Properties, L"Display name", VT_BSTR);
        DisplayName = CBstr();
        if (value.vt == VT_BSTR) {
            DisplayName = CBstr::Adopt(value.bstrVal);
            value.vt = VT_EMPTY;
        }
        Flags &= ~ChannelNameStale;
    }
    return DisplayName;
}

DWORD CChannelDataItem::ChangeBitsOf(BSTR name)
{
    if (!name) return ~ChannelTracesStale;
    for (const CPropertyBits& property : PropertyBits) {
        if (lstrcmpiW(name, property.Name) == 0) return property.Bits;
    }
    return 0;
}

void CChannelDataItem::OnPropertyChanged(IQvxPropertySet*, BSTR name)
{
    const DWORD bits = ChangeBitsOf(name);
    if (bits) NotifyChange(bits, 1);
}
