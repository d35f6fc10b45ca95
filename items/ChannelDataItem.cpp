#include "items/ChannelDataItem.h"
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <new>
#include <olectl.h>

#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"

namespace {

// Reads one property as the variant type `type`; an empty variant when the host fails or the
// value does not convert.
CVariant ReadProperty(IQvxPropertySet* properties, const wchar_t* name, VARTYPE type)
{
    CVariant value;
    if (!properties) return value;
    CBstr key(name);
    if (!key.Get() || FAILED(properties->GetProperty(key.Get(), value.Out()))) {
        value.Clear();
        return value;
    }
    if (value.vt != type && FAILED(VariantChangeType(&value, &value, 0, type))) value.Clear();
    return value;
}

int32_t ReadInteger(IQvxPropertySet* properties, const wchar_t* name)
{
    CVariant value = ReadProperty(properties, name, VT_I4);
    return value.vt == VT_I4 ? value.lVal : 0;
}

double ReadReal(IQvxPropertySet* properties, const wchar_t* name)
{
    CVariant value = ReadProperty(properties, name, VT_R8);
    return value.vt == VT_R8 ? value.dblVal : 0.0;
}

// Only VARIANT_TRUE counts as true.
bool ReadFlag(IQvxPropertySet* properties, const wchar_t* name)
{
    CVariant value = ReadProperty(properties, name, VT_BOOL);
    return value.vt == VT_BOOL && value.boolVal == VARIANT_TRUE;
}

// A text property; false, and `text` as it was, when there is none.
bool ReadText(IQvxPropertySet* properties, const wchar_t* name, CBstr& text)
{
    CVariant value = ReadProperty(properties, name, VT_BSTR);
    if (value.vt != VT_BSTR) return false;
    text = CBstr::Adopt(value.bstrVal);
    value.vt = VT_EMPTY;
    return true;
}

// An OLE colour property, translated. Taken as a 64-bit integer, since a host may hand a system
// colour as a negative 32-bit one.
COLORREF ReadColour(IQvxPropertySet* properties, const wchar_t* name)
{
    CVariant value = ReadProperty(properties, name, VT_I8);
    const OLE_COLOR colour = value.vt == VT_I8 ? OLE_COLOR(value.llVal) : 0;
    COLORREF translated = 0;
    return SUCCEEDED(OleTranslateColor(colour, nullptr, &translated)) ? translated : 0;
}

HRESULT WriteProperty(IQvxPropertySet* properties, const wchar_t* name, const VARIANT& value)
{
    if (!properties) return E_FAIL;
    CBstr key(name);
    if (!key.Get()) return E_OUTOFMEMORY;
    return properties->SetProperty(key.Get(), value);
}

HRESULT WriteReal(IQvxPropertySet* properties, const wchar_t* name, double number)
{
    VARIANT value;
    value.vt = VT_R8;
    value.dblVal = number;
    return WriteProperty(properties, name, value);
}

HRESULT WriteFlag(IQvxPropertySet* properties, const wchar_t* name, bool flag)
{
    VARIANT value;
    value.vt = VT_BOOL;
    value.boolVal = flag ? VARIANT_TRUE : VARIANT_FALSE;
    return WriteProperty(properties, name, value);
}

double ClampPercent(double percent)
{
    return std::clamp(percent, 0.0, 100.0);
}

// Null for a null object.
CComPtr<IUnknown> IdentityOf(IUnknown* object)
{
    CComPtr<IUnknown> identity;
    identity.QueryFrom(object, IID_IUnknown);
    return identity;
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

// The change bits that a notification of the property `name` raises: all but
// ChannelTracesStale for a null name, none for a name that the channel does not read.
DWORD ChangeBitsOf(BSTR name)
{
    if (!name) return ~ChannelTracesStale;
    for (const CPropertyBits& property : PropertyBits) {
        if (lstrcmpiW(name, property.Name) == 0) return property.Bits;
    }
    return 0;
}

constexpr int32_t MostDecimalPlaces = 9;
// The margin of an autoscaled range: a share of the span, and at least this much of the
// channel's unit.
constexpr double MarginShare = 0.05;
constexpr double SmallestMargin = 0.01;

} // namespace

CChannelDataItem::CChannelDataItem(CTaskDataItem* task, const CBstr& name, IQvxPropertyFactory* factory)
    : Name(name), Task(task)
{
    if (factory) factory->GetPropertySet(Name.Get(), Properties.Out());
    PropertySink = CreateSink<CPropertySink>(static_cast<CPropertySetNotifications2Receiver*>(this));
    if (PropertySink) PropertySink->Advise(Properties);
    Quantity = ReadInteger(Properties, L"Quantity");
}

CChannelDataItem::~CChannelDataItem()
{
    DeleteTraces();
    CloseSink(DefaultSink, DefaultProperties);
    CloseSink(PropertySink, Properties);
}

CTraceDataItem* CChannelDataItem::CreateTrace(CDataSelectionDataItem* selection)
{
    return new (std::nothrow) CTraceDataItem(this, selection, TraceBinSize);
}

CTraceDataItem* CRTCChannelDataItem::CreateTrace(CDataSelectionDataItem* selection)
{
    return new (std::nothrow) CRTCTraceDataItem(this, selection, RTCTraceBinSize);
}

void CChannelDataItem::UpdateRange()
{
    if (!(Flags & ChannelRangeStale)) return;
    if (!GetAutoscale()) {
        const double maximum = ReadReal(Properties, L"Display maximum");
        const double minimum = ReadReal(Properties, L"Display minimum");
        // A scale end that is no number leaves the channel without a scale, as no data do.
        const bool finite = std::isfinite(minimum) && std::isfinite(maximum);
        DisplayMaximum = finite ? maximum : -1.0;
        DisplayMinimum = finite ? minimum : 0.0;
        Flags &= ~ChannelRangeStale;
        return;
    }
    DisplayMinimum = DBL_MAX;
    DisplayMaximum = -DBL_MAX;
    bool any = false;
    for (CTraceDataItem* trace : std::vector<CTraceDataItem*>(GetTraces())) {
        double minimum = 0.0, maximum = 0.0;
        if (!trace->GetRange(minimum, maximum) || !std::isfinite(minimum) || !std::isfinite(maximum)) continue;
        any = true;
        DisplayMaximum = std::max(DisplayMaximum, maximum);
        DisplayMinimum = std::min(DisplayMinimum, minimum);
    }
    if (!any) {
        DisplayMinimum = 0.0;
        DisplayMaximum = -1.0;
    } else {
        double margin = (DisplayMaximum - DisplayMinimum) * MarginShare;
        // A constant channel still gets a scale, a hundredth of its unit either side.
        if (margin < SmallestMargin) margin = ConvertUnit(SmallestMargin, GetUnit(), 0);
        if (!std::isfinite(margin)) margin = 0.0;
        DisplayMinimum -= margin;
        DisplayMaximum += margin;
    }
    Flags &= ~ChannelRangeStale;
}

// --- change and traces ---

void CChannelDataItem::NotifyChannelChange(DWORD flags)
{
    NotifyChange(flags, 1);
    if (Flags & ChannelTracesStale) return;
    if (flags & ChannelColorStale) NotifyTraces(TraceColorChanged);
    if (flags & ChannelInterpolationStale) NotifyTraces(TraceCalculatorStale);
}

void CChannelDataItem::NotifyTraces(DWORD flags)
{
    for (CTraceDataItem* trace : std::vector<CTraceDataItem*>(Traces)) trace->NotifyChange(flags, 1);
}

const std::vector<CTraceDataItem*>& CChannelDataItem::GetTraces()
{
    if (Flags & ChannelTracesStale) RebuildTraces();
    return Traces;
}

void CChannelDataItem::RebuildTraces()
{
    // Hidden traces record their selections as they go.
    DeleteTraces();
    if (Task) {
        const std::vector<CDataSelectionDataItem*> selections = Task->GetSelections();
        for (CDataSelectionDataItem* selection : selections) {
            CTraceDataItem* trace = CreateTrace(selection);
            if (!trace || !trace->Visible) continue;
            if (!HiddenSelections.count(IdentityOf(selection->GetSelection()))) continue;
            trace->Visible = FALSE;
            for (CDataItemListener* listener : std::vector<CDataItemListener*>(trace->Listeners)) {
                if (listener) listener->Invalidate();
            }
        }
    }
    HiddenSelections.clear();
    Flags &= ~ChannelTracesStale;
}

void CChannelDataItem::DeleteTraces()
{
    const std::vector<CTraceDataItem*> doomed = std::move(Traces);
    Traces.clear();
    for (CTraceDataItem* trace : doomed) delete trace;
}

void CChannelDataItem::AddTrace(CTraceDataItem* trace)
{
    Traces.push_back(trace);
}

void CChannelDataItem::RemoveTrace(CTraceDataItem* trace)
{
    std::erase(Traces, trace);
}

void CChannelDataItem::HideSelection(IUnknown* selection)
{
    if (CComPtr<IUnknown> identity = IdentityOf(selection)) HiddenSelections.insert(identity);
}

// --- cached properties ---

const CBstr& CChannelDataItem::GetDisplayName()
{
    if (Flags & ChannelNameStale) {
        if (!ReadText(Properties, L"Display name", DisplayName)) DisplayName = CBstr();
        Flags &= ~ChannelNameStale;
    }
    return DisplayName;
}

template <class T, class Reader>
T CChannelDataItem::Cached(DWORD bit, T& field, Reader read)
{
    if (Flags & bit) {
        field = read();
        Flags &= ~bit;
    }
    return field;
}

COLORREF CChannelDataItem::GetColor()
{
    return Cached(ChannelColorStale, Color, [this] { return ReadColour(Properties, L"Color"); });
}

int32_t CChannelDataItem::GetDecimalPlaces()
{
    return Cached(ChannelDecimalsStale, DecimalPlaces,
                  [this] { return std::min(ReadInteger(Properties, L"Decimal places"), MostDecimalPlaces); });
}

COLORREF CChannelDataItem::GetAlarmColor()
{
    return Cached(ChannelAlarmColorStale, AlarmColor, [this] { return ReadColour(Properties, L"Alarm color"); });
}

int32_t CChannelDataItem::GetAuxiliaryAxis()
{
    return Cached(ChannelAuxiliaryAxisStale, AuxiliaryAxis,
                  [this] { return ReadInteger(Properties, L"Auxiliary axis"); });
}

int32_t CChannelDataItem::GetInterpolation()
{
    return Cached(ChannelInterpolationStale, Interpolation,
                  [this] { return ReadInteger(Properties, L"Interpolation"); });
}

bool CChannelDataItem::GetAutoscale()
{
    return Cached(ChannelAutoscaleStale, Autoscale,
                  [this] { return BOOL(ReadFlag(Properties, L"Autoscale")); }) != FALSE;
}

bool CChannelDataItem::MayAutoscale() const noexcept
{
    return Autoscale || (Flags & ChannelAutoscaleStale);
}

int32_t CChannelDataItem::GetUnit()
{
    if (Flags & ChannelUnitStale) {
        Unit = ReadInteger(Properties, L"Unit");
        if (Quantity != 0) {
            IQvxUnitConverter* converter = Task ? Task->GetUnitConverter() : nullptr;
            CBstr text;
            if (converter && SUCCEEDED(converter->GetUnitText(Quantity, Unit, text.Out()))) UnitText = std::move(text);
        } else {
            ReadText(Properties, L"User type", UnitText);
        }
        Flags &= ~ChannelUnitStale;
    }
    return Unit;
}

const CBstr& CChannelDataItem::GetUnitText()
{
    GetUnit();
    return UnitText;
}

void CChannelDataItem::GetAlarm(int32_t& condition, double& minimum, double& maximum)
{
    if (Flags & ChannelAlarmStale) {
        AlarmMaximum = ReadReal(Properties, L"Alarm maximum");
        AlarmMinimum = ReadReal(Properties, L"Alarm minimum");
        AlarmCondition = ReadInteger(Properties, L"Alarm condition");
        Flags &= ~ChannelAlarmStale;
    }
    condition = AlarmCondition;
    minimum = AlarmMinimum;
    maximum = AlarmMaximum;
}

// --- the scale ---

double CChannelDataItem::GetScaleMinimum(int applyZoom)
{
    return GetScaleEnd(applyZoom, false);
}

double CChannelDataItem::GetScaleMaximum(int applyZoom)
{
    return GetScaleEnd(applyZoom, true);
}

double CChannelDataItem::GetScaleEnd(int applyZoom, bool high)
{
    UpdateRange();
    double value = high ? DisplayMaximum : DisplayMinimum;
    if (applyZoom && Task && ZoomApplies()) {
        const CYZoom& zoom = Task->GetYZoom();
        value = DisplayMinimum + (DisplayMaximum - DisplayMinimum) * (high ? zoom.High : zoom.Low);
    }
    // An autoscaled range is measured in the base unit already.
    if (!GetAutoscale()) value = ConvertUnit(value, GetUnit(), 0);
    return value;
}

bool CChannelDataItem::ZoomApplies()
{
    const bool own = !GetYPercentEnabled() || (GetYPercentMaximum() == 100.0 && GetYPercentMinimum() == 0.0);
    if (!own) return false;
    return !GetDefaultYPercentEnabled()
           || (GetDefaultYPercentMaximum() == 100.0 && GetDefaultYPercentMinimum() == 0.0);
}

double CChannelDataItem::ToDisplayUnit(double value)
{
    return ConvertUnit(value, 0, GetUnit());
}

double CChannelDataItem::ConvertUnit(double value, int32_t fromUnit, int32_t toUnit)
{
    IQvxUnitConverter* converter = Task ? Task->GetUnitConverter() : nullptr;
    double converted = value;
    if (converter && SUCCEEDED(converter->Convert(value, Quantity, fromUnit, toUnit, &converted))) return converted;
    return value;
}

// --- Y-axis percentages ---

void CChannelDataItem::UpdateYPercent()
{
    if (!(Flags & ChannelYPercentStale)) return;
    YPercentMaximum = ReadReal(Properties, L"Y-axis % maximum");
    YPercentMinimum = ReadReal(Properties, L"Y-axis % minimum");
    Flags &= ~ChannelYPercentStale;
}

double CChannelDataItem::GetYPercentMaximum()
{
    if (!GetYPercentEnabled()) return 100.0;
    UpdateYPercent();
    return YPercentMaximum;
}

double CChannelDataItem::GetYPercentMinimum()
{
    if (!GetYPercentEnabled()) return 0.0;
    UpdateYPercent();
    return YPercentMinimum;
}

bool CChannelDataItem::GetYPercentEnabled()
{
    return Cached(ChannelYPercentEnabledStale, YPercentEnabled,
                  [this] { return BOOL(ReadFlag(Properties, L"Y-axis % enabled")); }) != FALSE;
}

double CChannelDataItem::GetDefaultYPercentMaximum()
{
    if (!GetDefaultYPercentEnabled()) return 100.0;
    return ReadReal(DefaultProperties, L"Y-axis % maximum");
}

double CChannelDataItem::GetDefaultYPercentMinimum()
{
    if (!GetDefaultYPercentEnabled()) return 0.0;
    return ReadReal(DefaultProperties, L"Y-axis % minimum");
}

bool CChannelDataItem::GetDefaultYPercentEnabled()
{
    IQvxPropertySet* defaults = GetDefaultProperties();
    return defaults && ReadFlag(defaults, L"Y-axis % enabled");
}

HRESULT CChannelDataItem::SetYPercentMaximum(double percent)
{
    return WriteReal(Properties, L"Y-axis % maximum", ClampPercent(percent));
}

HRESULT CChannelDataItem::SetYPercentMinimum(double percent)
{
    return WriteReal(Properties, L"Y-axis % minimum", ClampPercent(percent));
}

HRESULT CChannelDataItem::SetYPercentEnabled(int enabled)
{
    return WriteFlag(Properties, L"Y-axis % enabled", enabled != 0);
}

HRESULT CChannelDataItem::SetDefaultYPercentMaximum(double percent)
{
    IQvxPropertySet* defaults = GetDefaultProperties();
    return defaults ? WriteReal(defaults, L"Y-axis % maximum", ClampPercent(percent)) : S_FALSE;
}

HRESULT CChannelDataItem::SetDefaultYPercentMinimum(double percent)
{
    IQvxPropertySet* defaults = GetDefaultProperties();
    return defaults ? WriteReal(defaults, L"Y-axis % minimum", ClampPercent(percent)) : S_FALSE;
}

HRESULT CChannelDataItem::ClearDefaultYPercentEnabled()
{
    IQvxPropertySet* defaults = GetDefaultProperties();
    return defaults ? WriteFlag(defaults, L"Y-axis % enabled", false) : S_FALSE;
}

HRESULT CChannelDataItem::SetAuxiliaryAxis(int32_t axis)
{
    VARIANT value;
    value.vt = VT_I4;
    value.lVal = axis;
    return WriteProperty(Properties, L"Auxiliary axis", value);
}

IQvxPropertySet* CChannelDataItem::GetDefaultProperties()
{
    if (DefaultProperties || DefaultsAsked) return DefaultProperties;
    IQvxOrvid* host = Task ? Task->GetOrvid() : nullptr;
    if (!host) return nullptr;
    DefaultsAsked = TRUE;
    CComPtr<IQvxPropertyFactory> factory;
    if (FAILED(host->GetChannelDefaults(factory.Out())) || !factory) return nullptr;
    if (FAILED(factory->GetPropertySet(Name.Get(), DefaultProperties.Out()))) DefaultProperties = nullptr;
    if (!DefaultProperties) return nullptr;
    // Changes of the defaults raise the same bits as this chart's own.
    DefaultSink = CreateSink<CPropertySink>(static_cast<CPropertySetNotifications2Receiver*>(this));
    if (DefaultSink) DefaultSink->Advise(DefaultProperties);
    return DefaultProperties;
}

// --- notifications ---

void CChannelDataItem::OnPropertyChanged(IQvxPropertySet*, BSTR name)
{
    const DWORD bits = ChangeBitsOf(name);
    if (bits) NotifyChannelChange(bits);
}
