#pragma once
// A channel on the chart, by name, across all data selections: one axis, one unit, one colour,
// one scale, and one trace per selection. Its settings are the named properties of the host's
// property set of the channel, which the user edits through the host; the item is a lazy cache of
// them, with one stale bit per group of properties (ItemFlags.h). It also computes the autoscaled
// range and applies the chart's vertical zoom to the scale: every axis and trace region asks it
// for the current y range.
//
// Only the channel ordering creates and deletes channels, through the task. The real-time channel
// differs only in the trace that it creates.
#include <windows.h>
#include <cstdint>
#include <set>
#include <vector>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "items/DataItemBase.h"
#include "Interfaces.h"
#include "config/PropertySetNotifications.h"

class CDataSelectionDataItem;
class CTaskDataItem;
class CTraceDataItem;

class CChannelDataItem : public CDataItemBase, public CPropertySetNotifications2Receiver
{
public:
    // Samples per statistics bin of the traces that a channel creates.
    static constexpr LONG TraceBinSize = 150;
    static constexpr LONG RTCTraceBinSize = 1000;

    // Takes this chart's property set of the channel from `factory`, advises on it, and reads
    // "Quantity". Without a factory or a set the channel is local: it keeps its defaults, and
    // whether the host knows the channel shows later. `task` may be null (a channel of no chart).
    CChannelDataItem(CTaskDataItem* task, const CBstr& name, IQvxPropertyFactory* factory);
    // Deletes the traces, then leaves both property sets.
    ~CChannelDataItem() override;

    // A new trace of this channel on `selection`; it enters itself in the channel's and the
    // selection's trace vectors. Null when out of memory.
    virtual CTraceDataItem* CreateTrace(CDataSelectionDataItem* selection);
    // Reads the scale again while ChannelRangeStale is set: the display limits of the properties,
    // or with "Autoscale" the range of all traces' data and a margin.
    virtual void UpdateRange();

    // NotifyChange(flags, 1); and unless the traces are to be rebuilt anyway, a colour change
    // reaches every trace as TraceColorChanged and an interpolation change as
    // TraceCalculatorStale.
    void NotifyChannelChange(DWORD flags);
    // NotifyChange(flags, 1) on every trace that the channel has now; none is created.
    void NotifyTraces(DWORD flags);
    // One trace per selection of the task that gets traces, made again first when
    // ChannelTracesStale is set. A selection whose trace was hidden gets a hidden trace again.
    const std::vector<CTraceDataItem*>& GetTraces();

    const CBstr& GetName() const noexcept { return Name; }
    int32_t GetQuantity() const noexcept { return Quantity; }
    CTaskDataItem* GetTask() const noexcept { return Task; }
    // This chart's property set of the channel, borrowed; null for a local channel.
    IQvxPropertySet* GetProperties() const noexcept { return Properties; }

    // --- the lazily read properties; a failed read gives 0, false or an empty text ---
    // "Display name"; empty when the host has none.
    const CBstr& GetDisplayName();
    // "Color", translated.
    COLORREF GetColor();
    // "Decimal places", at most 9.
    int32_t GetDecimalPlaces();
    COLORREF GetAlarmColor();
    int32_t GetAuxiliaryAxis();
    // 2 is linear; any other value is held steps.
    int32_t GetInterpolation();
    bool GetAutoscale();
    // Whether the scale may follow the traces' data: "Autoscale" on, or changed and not read yet.
    // Asks the host nothing, so a trace's data-changed handler can test it.
    bool MayAutoscale() const noexcept;
    int32_t GetUnit();
    // The symbol of the unit: the converter's for a physical quantity, else "User type". A
    // failed read keeps the last text.
    const CBstr& GetUnitText();
    // "Alarm condition" (0 none, 1 minimum, 2 maximum, 3 both), "Alarm minimum", "Alarm maximum".
    void GetAlarm(int32_t& condition, double& minimum, double& maximum);

    // The ends of the y range in the quantity's base unit, in which samples arrive. With
    // `applyZoom` the task's vertical zoom applies, unless the Y-axis percentages of the channel
    // or of the host's defaults squeeze the channel into part of the axis. {0.0, -1.0}: no scale.
    double GetScaleMinimum(int applyZoom);
    double GetScaleMaximum(int applyZoom);
    // From the quantity's base unit to the channel's unit; unchanged when the converter fails.
    double ToDisplayUnit(double value);

    // "Y-axis % maximum" and "% minimum": 100.0 and 0.0 while "Y-axis % enabled" is off.
    double GetYPercentMaximum();
    double GetYPercentMinimum();
    bool GetYPercentEnabled();
    // The same of the host's shared defaults for the channel, read at each call: 100.0, 0.0 and
    // false without defaults.
    double GetDefaultYPercentMaximum();
    double GetDefaultYPercentMinimum();
    bool GetDefaultYPercentEnabled();

    // Setters write to the host; the cache follows when the host's notification comes back.
    // Percentages are clamped to 0.0 to 100.0. The default setters do nothing without defaults.
    HRESULT SetYPercentMaximum(double percent);
    HRESULT SetYPercentMinimum(double percent);
    HRESULT SetYPercentEnabled(int enabled);
    HRESULT SetDefaultYPercentMaximum(double percent);
    HRESULT SetDefaultYPercentMinimum(double percent);
    HRESULT ClearDefaultYPercentEnabled();
    HRESULT SetAuxiliaryAxis(int32_t axis);

    // --- what a trace does to its channel ---
    void AddTrace(CTraceDataItem* trace);
    void RemoveTrace(CTraceDataItem* trace);
    // A hidden trace going away: its selection (the identity of the host's object) gets a hidden
    // trace at the next rebuild.
    void HideSelection(IUnknown* selection);

    // --- CPropertySetNotificationsReceiver, for this chart's set and the host's defaults ---
    void OnPropertyChanged(IQvxPropertySet* source, BSTR name) override;

private:
    using CPropertySink = CPropertySetNotifications2Sink<CBaseSingleSourceSink<IQvxPropertySetNotifications2>>;

    // `field`, read again first by `read` while `bit` is set.
    template <class T, class Reader>
    T Cached(DWORD bit, T& field, Reader read);
    // The host's defaults of the channel, asked for once a host root is there; may stay null.
    IQvxPropertySet* GetDefaultProperties();
    void RebuildTraces();
    void DeleteTraces();
    // Reads the "Y-axis %" pair while ChannelYPercentStale is set.
    void UpdateYPercent();
    // One end of the scale: the high end or the low one.
    double GetScaleEnd(int applyZoom, bool high);
    // Whether neither this chart's nor the host's Y-axis percentages squeeze the channel.
    bool ZoomApplies();
    // Between units of the channel's quantity; `value` unchanged when the converter fails.
    double ConvertUnit(double value, int32_t fromUnit, int32_t toUnit);

    std::set<CComPtr<IUnknown>> HiddenSelections;
    CComPtr<IQvxPropertySet> Properties;
    CComPtr<CPropertySink> PropertySink;
    CComPtr<IQvxPropertySet> DefaultProperties;
    CComPtr<CPropertySink> DefaultSink;
    CBstr Name;
    CBstr DisplayName;
    COLORREF Color = 0;
    int32_t Quantity = 0;
    int32_t Unit = 0;
    CBstr UnitText;
    BOOL Autoscale = FALSE;
    int32_t DecimalPlaces = 0;
    COLORREF AlarmColor = 0x45FF;
    double AlarmMinimum = 0.0;
    double AlarmMaximum = 0.0;
    int32_t AlarmCondition = 0;
    double DisplayMinimum = 0.0;
    double DisplayMaximum = -1.0;
    std::vector<CTraceDataItem*> Traces;
    CTaskDataItem* Task;
    double YPercentMaximum = 100.0;
    double YPercentMinimum = 0.0;
    BOOL YPercentEnabled = FALSE;
    int32_t Interpolation = 2;
    int32_t AuxiliaryAxis = 0;
    // The host root was asked for the defaults: a chart that had no host yet asks at a later need.
    BOOL DefaultsAsked = FALSE;
};

// The channel of a real-time chart: its traces are real-time traces with larger bins.
class CRTCChannelDataItem : public CChannelDataItem
{
public:
    using CChannelDataItem::CChannelDataItem;

    CTraceDataItem* CreateTrace(CDataSelectionDataItem* selection) override;
};
