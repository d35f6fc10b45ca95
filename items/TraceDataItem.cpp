#include "items/TraceDataItem.h"
#include <algorithm>
#include <cmath>
#include <new>
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"

namespace {

// The option argument of the host's series: historic charts ask with 1, real-time ones with 0.
constexpr long HistoricOption = 1;
constexpr long RealTimeOption = 0;
// Directions of FindSample, and the linear mode of GetValueAt.
constexpr long After = 0;
constexpr long Before = 1;
constexpr long Nearest = 2;
constexpr long Linear = 2;
constexpr qvx::time EarliestTime = qvx::time(0x8000000000000000ull);
constexpr qvx::time LatestTime = qvx::time(0x7FFFFFFFFFFFFFFFull);

template <class Calculator>
std::unique_ptr<CBaseStatisticsCalculator> MakeCalculator(LONG binSize, DistanceCursor* coordinates)
{
    return std::unique_ptr<CBaseStatisticsCalculator>(new (std::nothrow) Calculator(binSize, coordinates));
}

} // namespace

CTraceDataItem::CTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize)
    : CTraceDataItem(channel, selection, binSize, HistoricOption)
{
}

CTraceDataItem::CTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize,
                               long option)
    : Channel(channel), Selection(selection), StatisticsBinSize(binSize), RangeBinSize(binSize), Option(option)
{
    CComPtr<IQvxDataSelectionChannels> channels;
    IQvxDataSelection* host = Selection ? Selection->GetSelection() : nullptr;
    if (host && SUCCEEDED(channels.QueryFrom(host, __uuidof(IQvxDataSelectionChannels)))
        && FAILED(channels->GetChannel(Channel->GetName().Get(), Proxy.Out())))
        Proxy = nullptr;
    if (Proxy) {
        CComPtr<IQvxChannelUse> use;
        if (SUCCEEDED(Proxy.As(use))) use->AddUse();
        CComPtr<IQvxChannelProxyClients> clients;
        if (SUCCEEDED(Proxy.As(clients)) && FAILED(clients->Subscribe(Channel->GetProperties(), &Cookie))) Cookie = 0;
        DataSink = CreateSink<CDataSink>(static_cast<CDataNotificationsReceiver*>(this));
        if (DataSink) DataSink->Advise(Proxy);
        ProxySink = CreateSink<CProxySink>(static_cast<CChannelProxyNotificationsReceiver*>(this));
        if (ProxySink) ProxySink->Advise(Proxy);
    }
    Channel->AddTrace(this);
    // The cached "Autoscale" and its stale bit: no property read while the traces are made.
    if (Channel->MayAutoscale()) Channel->NotifyChannelChange(ChannelRangeStale);
    if (Selection) Selection->AddTrace(this);
    RangeCalculator = MakeCalculator<CRangeCalculator>(RangeBinSize, &DistanceCursor);
    RebuildStatisticsCalculator();
}

CTraceDataItem::~CTraceDataItem()
{
    CloseSink(DataSink, Proxy);
    CloseSink(ProxySink, Proxy);
    if (Proxy) {
        CComPtr<IQvxChannelProxyClients> clients;
        if (SUCCEEDED(Proxy.As(clients))) clients->Unsubscribe(Cookie);
        CComPtr<IQvxChannelUse> use;
        if (SUCCEEDED(Proxy.As(use))) use->ReleaseUse();
    }
    StatisticsCalculator.reset();
    RangeCalculator.reset();
    Channel->RemoveTrace(this);
    if (!Visible && Selection) Channel->HideSelection(Selection->GetSelection());
    // Often inside the series' going-away notification: no property read here either.
    if (Channel->MayAutoscale()) Channel->NotifyChannelChange(ChannelRangeStale);
    if (Selection) Selection->RemoveTrace(this);
}

// --- values and samples ---

HRESULT CTraceDataItem::GetValueAtCursor(double& value)
{
    // In distance mode the cursor's time would come from its distance in the active selection.
    // Without distance items on the chart, the cursor's time serves in both modes, and it is what
    // a real-time trace always takes.
    CTaskDataItem* task = GetTask();
    if (!task) return E_FAIL;
    return ValueAt(task->GetCursorTime(), Channel->GetInterpolation(), Option, value);
}

HRESULT CTraceDataItem::GetValueAtOrigin(double& value)
{
    CTaskDataItem* task = GetTask();
    if (!task) return E_FAIL;
    // The real-time trace asks as a historic one here.
    return ValueAt(task->GetSecondCursorTime(), Channel->GetInterpolation(), HistoricOption, value);
}

bool CTraceDataItem::SnapToSample(qvx::time& time)
{
    return SUCCEEDED(FindSampleFrom(time + Origin(), Nearest, time));
}

bool CTraceDataItem::ToNextSample(qvx::time& time)
{
    return SUCCEEDED(FindSampleFrom(time + Origin(), After, time));
}

bool CTraceDataItem::ToPreviousSample(qvx::time& time)
{
    return SUCCEEDED(FindSampleFrom(time + Origin(), Before, time));
}

bool CTraceDataItem::ToFirstSample(qvx::time& time)
{
    return SUCCEEDED(FindSampleFrom(EarliestTime, Nearest, time));
}

bool CTraceDataItem::ToLastSample(qvx::time& time)
{
    return SUCCEEDED(FindSampleFrom(LatestTime, Nearest, time));
}

HRESULT CTraceDataItem::GetLinearValueAt(qvx::time time, double& value)
{
    return ValueAt(time, Linear, Option, value);
}

HRESULT CTraceDataItem::SampleFrom(qvx::time& time, int inclusive)
{
    if (inclusive) {
        qvx::time nearest = time;
        const HRESULT hr = FindSampleFrom(time + Origin(), Nearest, nearest);
        if (SUCCEEDED(hr) && nearest >= time) {
            time = nearest;
            return hr;
        }
    }
    return FindSampleFrom(time + Origin(), After, time);
}

HRESULT CTraceDataItem::SampleBefore(qvx::time& time)
{
    return FindSampleFrom(time + Origin(), Before, time);
}

HRESULT CTraceDataItem::FindSampleFrom(qvx::time from, long direction, qvx::time& time)
{
    CComPtr<IQvxData> data = GetData();
    if (!data) return E_FAIL;
    __int64 found = 0;
    double value = 0.0;
    const HRESULT hr = data->FindSample(from, direction, Option, &found, &value);
    if (SUCCEEDED(hr)) time = found - Origin();
    return hr;
}

HRESULT CTraceDataItem::ValueAt(qvx::time time, long mode, long option, double& value)
{
    CComPtr<IQvxData> data = GetData();
    if (!data) return E_FAIL;
    double found = 0.0;
    const HRESULT hr = data->GetValueAt(time + Origin(), mode, option, &found);
    if (SUCCEEDED(hr)) value = found;
    return hr;
}

qvx::time CTraceDataItem::Origin() const noexcept
{
    return Selection ? Selection->GetStartTime() : 0;
}

CTaskDataItem* CTraceDataItem::GetTask() const noexcept
{
    return Channel->GetTask();
}

// --- what regions read ---

CComPtr<IQvxData> CTraceDataItem::GetData()
{
    if (Flags & TraceDataStale) {
        Data = nullptr;
        CComPtr<IQvxChannelProxyClients> clients;
        CComPtr<IQvxChannelProxy> proxy;
        HRESULT hr = E_FAIL;
        if (Proxy && SUCCEEDED(Proxy.As(clients))) hr = clients->GetDataFor(Cookie, Data.Out());
        else if (Proxy && SUCCEEDED(Proxy.As(proxy))) hr = proxy->GetData(Data.Out());
        if (FAILED(hr)) Data = nullptr;
        Flags &= ~TraceDataStale;
    }
    return Data;
}

bool CTraceDataItem::GetRange(double& minimum, double& maximum)
{
    if (!RangeCalculator || !Selection) return false;
    CComPtr<IQvxData2> series;
    if (CComPtr<IQvxData> data = GetData()) data.As(series);
    RangeCalculator->Calculate(series, Selection->GetStartTime(), Selection->GetEndTime());
    minimum = RangeCalculator->Minimum;
    maximum = RangeCalculator->Maximum;
    return RangeCalculator->Valid != FALSE;
}

COLORREF CTraceDataItem::GetColor()
{
    Flags &= ~TraceColorChanged;
    if (Channel->Flags & ChannelTracesStale) return 0;
    if (Channel->GetTraces().size() < 2) return Channel->GetColor();
    const COLORREF colour = Selection ? Selection->GetColor() : 0;
    CTaskDataItem* task = GetTask();
    CChannelOrdering* ordering = task ? task->GetOrdering() : nullptr;
    if (!ordering) return colour;
    // The first channel of the order shows the selection's own colour, the last one the
    // control's gradation towards white.
    const std::vector<CChannelDataItem*>& channels = ordering->GetItems();
    const auto found = std::find(channels.begin(), channels.end(), Channel);
    if (found == channels.end() || channels.size() < 2) return Grade(colour, 0.0);
    const double place = double(found - channels.begin());
    return Grade(colour, std::trunc(task->GetTraceGradation() * place / double(channels.size() - 1)));
}

COLORREF CTraceDataItem::Grade(COLORREF colour, double grade)
{
    constexpr COLORREF White = 0xFFFFFF;
    if ((colour & White) == White) return White;
    const int components[3] = {GetRValue(colour), GetGValue(colour), GetBValue(colour)};
    int steps = 0;
    for (int component : components) steps = std::max(steps, 255 - component);
    // Stop i of the ramp stands at i × 255 / steps; the last one, at 255, is white.
    int stop = std::clamp(int(grade * steps / 255.0), 0, steps);
    while (stop < steps && (stop + 1) * 255.0 / steps <= grade) ++stop;
    while (stop > 0 && stop * 255.0 / steps > grade) --stop;
    if (stop == steps) return White;
    int graded[3];
    for (int i = 0; i < 3; ++i) {
        const double step = double(255 - components[i]) / steps;
        graded[i] = int(std::trunc(stop * step + components[i])) & 255;
    }
    return RGB(graded[0], graded[1], graded[2]);
}

double CTraceDataItem::GetValueOffset()
{
    if (Flags & TraceValueOffsetStale) {
        CComPtr<IQvxChannelOffset> offset;
        double value = 0.0;
        if (Proxy && SUCCEEDED(Proxy.As(offset)) && SUCCEEDED(offset->GetValueOffset(&value))) ValueOffset = value;
        Flags &= ~TraceValueOffsetStale;
    }
    return ValueOffset;
}

void CTraceDataItem::SetFlashPhase(BOOL shown)
{
    FlashOn = shown;
    // A copy: a listener may leave while it is told.
    const std::vector<CDataItemListener*> listeners = Listeners;
    for (CDataItemListener* listener : listeners) listener->Invalidate();
}

// --- statistics ---

void CTraceDataItem::AddStatisticsUser(const void* user)
{
    if (StatisticsUsers.insert(user).second && StatisticsUsers.size() == 1) Flags |= TraceCalculatorStale;
}

void CTraceDataItem::RemoveStatisticsUser(const void* user)
{
    if (StatisticsUsers.erase(user) && StatisticsUsers.empty()) Flags |= TraceCalculatorStale;
}

CBaseStatisticsCalculator* CTraceDataItem::GetStatisticsCalculator()
{
    if (Flags & TraceCalculatorStale) RebuildStatisticsCalculator();
    return StatisticsCalculator.get();
}

void CTraceDataItem::RebuildStatisticsCalculator()
{
    using CExtremes = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
    using CLinearInTime = CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
    using CHoldInTime = CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
    using CLinearInDistance = CStatisticsCalculator<double, CLinearStatsBin<double>, true>;
    using CHoldInDistance = CStatisticsCalculator<double, CHoldStatsBin<double>, true>;
    StatisticsCalculator.reset();
    CTaskDataItem* task = GetTask();
    if (StatisticsUsers.empty()) {
        // Nobody wants a mean: extremes only.
        StatisticsCalculator = MakeCalculator<CExtremes>(RangeBinSize, &DistanceCursor);
    } else if (task && task->IsDistanceMode()) {
        // The coordinates would come from the selection's distance series, which a chart without
        // distance items cannot give: DistanceCursor then has no series.
        StatisticsCalculator = Channel->GetInterpolation() == 2
                                   ? MakeCalculator<CLinearInDistance>(StatisticsBinSize, &DistanceCursor)
                                   : MakeCalculator<CHoldInDistance>(StatisticsBinSize, &DistanceCursor);
    } else {
        StatisticsCalculator = Channel->GetInterpolation() == 2
                                   ? MakeCalculator<CLinearInTime>(StatisticsBinSize, &DistanceCursor)
                                   : MakeCalculator<CHoldInTime>(StatisticsBinSize, &DistanceCursor);
    }
    Flags &= ~TraceCalculatorStale;
}

void CTraceDataItem::DetachSelection()
{
    if (Selection && !Visible) Channel->HideSelection(Selection->GetSelection());
    Selection = nullptr;
}

// --- notifications ---

void CTraceDataItem::OnDataChanged(IUnknown*, qvx::time* from, qvx::time* to)
{
    if (!from || !to) return;
    ChangedFrom = *from;
    ChangedTo = *to;
    if (RangeCalculator) RangeCalculator->Invalidate(*from, *to);
    if (CBaseStatisticsCalculator* statistics = GetStatisticsCalculator()) statistics->Invalidate(*from, *to);
    // Only bits and fields here: the scale is measured again when a region reads it.
    if (Channel->MayAutoscale() && !(Channel->Flags & ChannelTracesStale))
        Channel->NotifyChannelChange(ChannelRangeStale);
    CTaskDataItem* task = GetTask();
    if (!task) return;
    // A task about to rebuild its selections or find its active trace again redraws anyway.
    const bool tell = !(task->Flags & (TaskSelectionsStale | TaskActiveStale));
    NotifyChange(TraceDataStale, tell ? 1 : 0);
}

void CTraceDataItem::OnDataGoingAway(IUnknown*)
{
    // The active trace is a place in its channel's vector: the places after this one move up.
    CTaskDataItem* task = GetTask();
    const bool activeChannel = task && task->GetActiveChannel() == Channel;
    delete this;
    if (activeChannel) task->NotifyChange(TaskActiveStale, 1);
}

void CTraceDataItem::OnValueOffsetChanged(IUnknown*)
{
    NotifyChange(TraceValueOffsetStale, 1);
}

// --- CRTCTraceDataItem ---

CRTCTraceDataItem::CRTCTraceDataItem(CChannelDataItem* channel, CDataSelectionDataItem* selection, LONG binSize)
    : CTraceDataItem(channel, selection, binSize, RealTimeOption)
{
}

HRESULT CRTCTraceDataItem::GetLatestValue(double& value)
{
    HRESULT hr = S_OK;
    if (HasNewData) {
        CComPtr<IQvxData2> series;
        double latest = 0.0;
        if (CComPtr<IQvxData> data = GetData()) data.As(series);
        hr = series ? series->GetLatestValue(&latest) : E_FAIL;
        if (SUCCEEDED(hr)) {
            LatestValue = latest;
            HasNewData = FALSE;
        }
    }
    value = LatestValue;
    return hr;
}

void CRTCTraceDataItem::OnDataChanged(IUnknown* source, qvx::time* from, qvx::time* to)
{
    if (!from || !to) return;
    auto* task = dynamic_cast<CRTCTaskDataItem*>(GetTask());
    if (task && !task->GetMode().IsRunning() && Selection && *from > Selection->GetEndTime()) return;
    HasNewData = TRUE;
    CTraceDataItem::OnDataChanged(source, from, to);
}
