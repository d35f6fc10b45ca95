#pragma once
// A trace: the crossing of one channel and one data selection, the samples of that channel in
// that selection. The item holds the connection to the samples: it subscribes to the host's
// channel object, keeps the series reference fresh, tells the regions when samples arrived and
// which span changed, and answers the value questions of cursors and panels. A trace region takes
// the series from it and reduces the samples to pixels by itself. The trace's range calculator
// gives the channel its autoscaled range.
//
// All times that the operations take and give count from the selection's start; the host's are
// absolute. The real-time trace has larger bins, asks the host with another option, reads the
// newest value, and ignores data beyond the end of a locally paused selection.
#include <windows.h>
#include <memory>
#include <set>
#include "config/ChannelProxyNotifications.h"
#include "com/ComPtr.h"
#include "items/DataItemBase.h"
#include "config/DataNotifications.h"
#include "statistics/DistanceCursor.h"
#include "Interfaces.h"
#include "statistics/StatisticsCalculator.h"

class CChannelDataItem;
class CDataSelectionDataItem;
class CTaskDataItem;

class CTraceDataItem : public CDataItemBase,
                       public CDataNotificationsReceiver,
                       public CChannelProxyNotificationsReceiver
{
public:
    // Takes the host's channel of `channel`'s name in `selection`, subscribes to it and uses it,
    // and enters itself in the trace vectors of both. Without such a channel the trace stays,
    // with no data. `binSize` samples go into each statistics bin. `channel`, the owner, is never
    // null.
    CTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize);
    // Undoes the construction in the mirror order. A hidden trace leaves its selection in the
    // channel's hidden set, so that the next trace there is hidden too.
    ~CTraceDataItem() override;

    // The value at the task's cursor, read with the channel's interpolation. E_FAIL without data;
    // a failure leaves `value` as it was.
    virtual HRESULT GetValueAtCursor(double& value);
    // The same at the task's second cursor.
    virtual HRESULT GetValueAtOrigin(double& value);
    // Moves `time` to the nearest sample; false, and `time` unchanged, when there is none.
    virtual bool SnapToSample(qvx::time& time);
    // To the first sample strictly after `time`, or the last strictly before it.
    virtual bool ToNextSample(qvx::time& time);
    virtual bool ToPreviousSample(qvx::time& time);
    virtual bool ToFirstSample(qvx::time& time);
    virtual bool ToLastSample(qvx::time& time);
    // The value at `time`, interpolated linearly.
    virtual HRESULT GetLinearValueAt(qvx::time time, double& value);
    // The first sample at or after `time` when `inclusive`, else strictly after it.
    virtual HRESULT SampleFrom(qvx::time& time, int inclusive);
    // The last sample strictly before `time`.
    virtual HRESULT SampleBefore(qvx::time& time);

    // The series, fetched again first when TraceDataStale is set; null without a channel in the
    // host or when the host fails.
    CComPtr<IQvxData> GetData();
    // The extremes of the series over the whole selection; false when there are no data.
    bool GetRange(double& minimum, double& maximum);
    // The channel's colour while it has one trace; with more, the selection's colour graded by
    // the channel's place in the order, so that the traces of one selection are told apart. 0
    // while the channel's traces are to be rebuilt.
    COLORREF GetColor();
    // The shift of this trace's values, asked again after the host said it changed.
    double GetValueOffset();

    CChannelDataItem* GetChannel() const noexcept { return Channel; }
    CDataSelectionDataItem* GetSelection() const noexcept { return Selection; }
    // The host's channel object; null when the selection has no channel of this name.
    IUnknown* GetProxy() const noexcept { return Proxy; }
    // The span of the latest data change, absolute.
    qvx::time GetChangedFrom() const noexcept { return ChangedFrom; }
    qvx::time GetChangedTo() const noexcept { return ChangedTo; }
    LONG GetRangeBinSize() const noexcept { return RangeBinSize; }

    // Whoever shows figures of the statistics calculator (a mean needs the calculator of the
    // channel's interpolation) joins its users, and reads it through GetStatisticsCalculator.
    void AddStatisticsUser(const void* user);
    void RemoveStatisticsUser(const void* user);
    // The calculator, built again first when TraceCalculatorStale is set; null when out of memory.
    CBaseStatisticsCalculator* GetStatisticsCalculator();
    // The selection item goes before the trace: the trace forgets it, and keeps its place in the
    // hidden set when it is hidden.
    void DetachSelection();

    // A stop of the ramp from `colour` to white; `grade` from 0.0 (the colour) to 255.0 (white).
    static COLORREF Grade(COLORREF colour, double grade);

    // --- CDataNotificationsReceiver ---
    void OnDataChanged(IUnknown* source, qvx::time* from, qvx::time* to) override;
    // The trace deletes itself.
    void OnDataGoingAway(IUnknown* source) override;
    // --- CChannelProxyNotificationsReceiver ---
    void OnValueOffsetChanged(IUnknown* source) override;

    // Cleared by the hide command.
    BOOL Visible = TRUE;
    // The phase of the flashing trace: 0 draws the inverted colour. Apart from Visible, which
    // is the user's.
    BOOL FlashOn = TRUE;
    // Sets the phase, and every listener's picture is out of date.
    void SetFlashPhase(BOOL shown);

protected:
    // `option` is the host's option argument of the series' searches and readings.
    CTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize, long option);

    CTaskDataItem* GetTask() const noexcept;
    // The host's FindSample from the absolute `from`; `time` gets the sample's time on the
    // chart's axis on success.
    HRESULT FindSampleFrom(qvx::time from, long direction, qvx::time& time);
    // The host's GetValueAt at `time` on the chart's axis.
    HRESULT ValueAt(qvx::time time, long mode, long option, double& value);

    CChannelDataItem* Channel;
    CDataSelectionDataItem* Selection;

private:
    using CDataSink = CDataNotificationsSink<CBaseSingleSourceSink<IQvxDataNotifications>>;
    using CProxySink = CChannelProxyNotificationsSink<CBaseSingleSourceSink<IQvxChannelProxyNotifications>>;
    using CRangeCalculator = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false>;

    void RebuildStatisticsCalculator();
    // The selection's start, which turns the chart's times into the host's; 0 without one.
    qvx::time Origin() const noexcept;

    CComPtr<IUnknown> Proxy;
    CComPtr<CDataSink> DataSink;
    CComPtr<CProxySink> ProxySink;
    CComPtr<IQvxData> Data;
    std::unique_ptr<CBaseStatisticsCalculator> RangeCalculator;
    std::unique_ptr<CBaseStatisticsCalculator> StatisticsCalculator;
    ::DistanceCursor DistanceCursor;
    qvx::time ChangedFrom = 0;
    qvx::time ChangedTo = 0;
    LONG StatisticsBinSize;
    LONG RangeBinSize;
    ULONG Cookie = 0;
    std::set<const void*> StatisticsUsers;
    double ValueOffset = 0.0;
    // 1 for a historic chart, 0 for a real-time one.
    const long Option;
};

// The trace of a real-time chart.
class CRTCTraceDataItem : public CTraceDataItem
{
public:
    CRTCTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize);

    // The newest value of the live series, read again after new data arrived. E_FAIL when it
    // could not be read; `value` is the last value read in any case.
    HRESULT GetLatestValue(double& value);

    // A locally paused chart ignores data beyond the end of its selection: its view stays.
    void OnDataChanged(IUnknown* source, qvx::time* from, qvx::time* to) override;

    BOOL HasNewData = FALSE;
    double LatestValue = 0.0;
};
