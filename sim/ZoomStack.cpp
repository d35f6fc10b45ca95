#include "sim/ZoomStack.h"
#include <algorithm>
#include "sim/StreamIO.h"

namespace {

constexpr ULONG StreamVersion = 1;
// The substitute's recordings name their distance channel so.
const wchar_t DistanceChannel[] = L"Distance";

bool IsTrue(VARIANT_BOOL value) { return value != VARIANT_FALSE; }

} // namespace

CZoomStack::CZoomStack()
    : CNotificationsImpl({__uuidof(IQvxZoomStackNotifications), __uuidof(IQvxZoomStackNotifications2),
                          __uuidof(IQvxZoomStackNotifications3)}),
      Watcher(this)
{
}

HRESULT CZoomStack::FinalConstruct()
{
    TaskSink = CreateSink<CTaskSink>(static_cast<CTaskNotificationsReceiver*>(&Watcher));
    SelectionSink = CreateSink<CSelectionSink>(static_cast<CDataSelectionNotificationsReceiver*>(&Watcher));
    return TaskSink && SelectionSink ? S_OK : E_OUTOFMEMORY;
}

void CZoomStack::FinalRelease()
{
    CInternalHostCalls internal;
    CloseSink(TaskSink, Task);
    CloseSink(SelectionSink, Reference);
}

// --- what the stack offers ---

CComPtr<IQvxDataSelection> CZoomStack::BaseSelection()
{
    CInternalHostCalls internal;
    if (Reference) return Reference;
    CComPtr<IQvxDataSelection> current;
    if (Task && SUCCEEDED(Task->GetCurrentDataSelection(current.Out()))) return current;
    return nullptr;
}

bool CZoomStack::TimeExtent(qvx::time& low, qvx::time& high)
{
    low = high = 0;
    if (Frozen && FrozenRangeSet) {
        low = std::min<qvx::time>(0, FrozenFrom);
        high = std::max<qvx::time>(0, FrozenTo);
        return true;
    }
    CInternalHostCalls internal;
    CComPtr<IQvxDataSelection> selection = BaseSelection();
    qvx::time start = 0, end = 0;
    if (!selection || FAILED(selection->GetStartTime(&start)) || FAILED(selection->GetEndTime(&end))) return false;
    high = std::max<qvx::time>(0, end - start);
    if (FixedSpan) high = std::min(high, FixedSpanLength);
    return true;
}

bool CZoomStack::DistanceExtent(double& low, double& high)
{
    low = high = 0.0;
    // Frozen, the distance stays where it was when the stack froze.
    if (Frozen) {
        high = FrozenDistance;
        return FrozenDistanceKnown;
    }
    CInternalHostCalls internal;
    CComPtr<IQvxDataSelection> selection = BaseSelection();
    CComPtr<IQvxDataSelectionChannels> channels;
    qvx::time start = 0, end = 0;
    if (!selection || FAILED(selection.As(channels)) || FAILED(selection->GetStartTime(&start)) ||
        FAILED(selection->GetEndTime(&end)))
        return false;
    CComPtr<IUnknown> channel;
    CComPtr<IQvxChannelProxy> proxy;
    CComPtr<IQvxData> data;
    CBstr name(DistanceChannel);
    if (FAILED(channels->GetChannel(name.Get(), channel.Out())) || FAILED(channel.As(proxy)) ||
        FAILED(proxy->GetData(data.Out())) || !data)
        return false;
    // The distances at the first and the last sample of the selection.
    qvx::time first = 0, last = 0;
    double from = 0.0, to = 0.0;
    if (FAILED(data->FindSample(start, 2, 0, &first, &from)) || FAILED(data->FindSample(end, 2, 0, &last, &to)))
        return false;
    high = std::max(0.0, to - from);
    return true;
}

const CZoomStack::CLevel* CZoomStack::TopLevel(bool distance) const
{
    for (auto level = Levels.rbegin(); level != Levels.rend(); ++level) {
        if (level->Distance == distance) return &*level;
    }
    return nullptr;
}

CZoomStack::CView CZoomStack::ComputeView()
{
    CView view;
    qvx::time low = 0, high = 0;
    view.TimeKnown = TimeExtent(low, high);
    view.FullTimeSpan = high - low;
    if (const CLevel* level = TopLevel(false)) {
        view.TimeKnown = true;
        view.TimeMinimum = level->From;
        view.TimeMaximum = level->To;
    } else {
        view.TimeMinimum = low;
        view.TimeMaximum = high;
    }
    double dlow = 0.0, dhigh = 0.0;
    view.DistanceKnown = DistanceExtent(dlow, dhigh);
    view.FullDistanceSpan = dhigh - dlow;
    if (const CLevel* level = TopLevel(true)) {
        view.DistanceKnown = true;
        view.DistanceMinimum = level->DistanceFrom;
        view.DistanceMaximum = level->DistanceTo;
    } else {
        view.DistanceMinimum = dlow;
        view.DistanceMaximum = dhigh;
    }
    return view;
}

void CZoomStack::PublishView()
{
    CView now = ComputeView();
    if (now == Published) return;
    Published = now;
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxZoomStackNotifications>(
        {__uuidof(IQvxZoomStackNotifications), __uuidof(IQvxZoomStackNotifications2), __uuidof(IQvxZoomStackNotifications3)},
        [&](IQvxZoomStackNotifications* sink) { sink->OnRangeChanged(this); });
}

void CZoomStack::FireLevelsChanged()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxZoomStackNotifications2>({__uuidof(IQvxZoomStackNotifications2), __uuidof(IQvxZoomStackNotifications3)},
        [&](IQvxZoomStackNotifications2* sink) { sink->OnLevelsChanged(this); });
}

void CZoomStack::FireOtherChange()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    Notifier.Fire<IQvxZoomStackNotifications3>({__uuidof(IQvxZoomStackNotifications3)},
        [&](IQvxZoomStackNotifications3* sink) { sink->OnOtherChange(this); });
}

// --- IQvxZoomStack ---

STDMETHODIMP CZoomStack::SetTask(IQvxTask* task)
{
    QVX_HOST_CALL("IQvxZoomStack.SetTask");
    if (SameObject(task, Task)) return S_OK;
    BindTask(task);
    PublishView();
    return S_OK;
}

void CZoomStack::BindTask(IQvxTask* task)
{
    CInternalHostCalls internal;
    TaskSink->Unadvise(Task);
    Task = task;
    if (Task) TaskSink->Advise(Task);
}

void CZoomStack::BindReference(IQvxDataSelection* selection)
{
    CInternalHostCalls internal;
    SelectionSink->Unadvise(Reference);
    Reference = selection;
    if (Reference) SelectionSink->Advise(Reference);
}

STDMETHODIMP CZoomStack::GetTimeMinimum(__int64* time)
{
    QVX_HOST_CALL("IQvxZoomStack.GetTimeMinimum");
    if (!time) return E_POINTER;
    CView view = ComputeView();
    *time = view.TimeMinimum;
    return view.TimeKnown ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::GetTimeMaximum(__int64* time)
{
    QVX_HOST_CALL("IQvxZoomStack.GetTimeMaximum");
    if (!time) return E_POINTER;
    CView view = ComputeView();
    *time = view.TimeMaximum;
    return view.TimeKnown ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::GetDistanceMinimum(double* distance)
{
    QVX_HOST_CALL("IQvxZoomStack.GetDistanceMinimum");
    if (!distance) return E_POINTER;
    CView view = ComputeView();
    *distance = view.DistanceMinimum;
    return view.DistanceKnown ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::GetDistanceMaximum(double* distance)
{
    QVX_HOST_CALL("IQvxZoomStack.GetDistanceMaximum");
    if (!distance) return E_POINTER;
    CView view = ComputeView();
    *distance = view.DistanceMaximum;
    return view.DistanceKnown ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::GetIsZoomed(VARIANT_BOOL* zoomed)
{
    QVX_HOST_CALL("IQvxZoomStack.GetIsZoomed");
    if (!zoomed) return E_POINTER;
    *zoomed = ToVariantBool(!Levels.empty());
    return S_OK;
}

STDMETHODIMP CZoomStack::PushTimeZoom(__int64 from, __int64 to)
{
    QVX_HOST_CALL("IQvxZoomStack.PushTimeZoom");
    if (from >= to) return E_INVALIDARG;
    Levels.push_back({false, from, to, 0.0, 0.0});
    Dirty = true;
    PublishView();
    if (Levels.size() == 1) FireLevelsChanged();
    return S_OK;
}

STDMETHODIMP CZoomStack::PushDistanceZoom(double from, double to)
{
    QVX_HOST_CALL("IQvxZoomStack.PushDistanceZoom");
    if (!(from < to)) return E_INVALIDARG;
    Levels.push_back({true, 0, 0, from, to});
    Dirty = true;
    PublishView();
    if (Levels.size() == 1) FireLevelsChanged();
    return S_OK;
}

STDMETHODIMP CZoomStack::Pop()
{
    QVX_HOST_CALL("IQvxZoomStack.Pop");
    if (Levels.empty()) return S_FALSE;
    Levels.pop_back();
    Dirty = true;
    PublishView();
    if (Levels.empty()) FireLevelsChanged();
    return S_OK;
}

STDMETHODIMP CZoomStack::PopAll()
{
    QVX_HOST_CALL("IQvxZoomStack.PopAll");
    if (Levels.empty()) return S_FALSE;
    Levels.clear();
    Dirty = true;
    PublishView();
    FireLevelsChanged();
    return S_OK;
}

void CZoomStack::ReplaceTop(const CLevel& level, bool notify)
{
    auto top = std::find_if(Levels.rbegin(), Levels.rend(), [&](const CLevel& l) { return l.Distance == level.Distance; });
    bool first = Levels.empty();
    if (top == Levels.rend()) Levels.push_back(level);
    else *top = level;
    Dirty = true;
    if (notify) PublishView();
    if (first) FireLevelsChanged();
}

STDMETHODIMP CZoomStack::SetTimeZoom(__int64 from, __int64 to, VARIANT_BOOL notify)
{
    QVX_HOST_CALL("IQvxZoomStack.SetTimeZoom");
    if (from >= to) return E_INVALIDARG;
    HRESULT result = S_OK;
    qvx::time low = 0, high = 0;
    if (TimeExtent(low, high) && high > low) {
        // Kept inside the data, with its width, or the data's width if that is less.
        qvx::time width = std::min<qvx::time>(to - from, high - low);
        qvx::time start = std::clamp<qvx::time>(from, low, high - width);
        if (start != from || width != to - from) result = S_FALSE;
        from = start;
        to = start + width;
    }
    ReplaceTop({false, from, to, 0.0, 0.0}, notify != VARIANT_FALSE);
    return result;
}

STDMETHODIMP CZoomStack::SetDistanceZoom(double from, double to, VARIANT_BOOL notify)
{
    QVX_HOST_CALL("IQvxZoomStack.SetDistanceZoom");
    if (!(from < to)) return E_INVALIDARG;
    HRESULT result = S_OK;
    double low = 0.0, high = 0.0;
    if (DistanceExtent(low, high) && high > low) {
        double width = std::min(to - from, high - low);
        double start = std::clamp(from, low, high - width);
        if (start != from || width != to - from) result = S_FALSE;
        from = start;
        to = start + width;
    }
    ReplaceTop({true, 0, 0, from, to}, notify != VARIANT_FALSE);
    return result;
}

STDMETHODIMP CZoomStack::GetIsYZoomKept(VARIANT_BOOL* kept)
{
    QVX_HOST_CALL("IQvxZoomStack.GetIsYZoomKept");
    if (!kept) return E_POINTER;
    *kept = ToVariantBool(YZoomKept);
    return S_OK;
}

STDMETHODIMP CZoomStack::SetIsYZoomKept(VARIANT_BOOL kept)
{
    QVX_HOST_CALL("IQvxZoomStack.SetIsYZoomKept");
    if (YZoomKept == IsTrue(kept)) return S_OK;
    YZoomKept = IsTrue(kept);
    Dirty = true;
    FireOtherChange();
    return S_OK;
}

STDMETHODIMP CZoomStack::GetFullTimeSpan(__int64* span)
{
    QVX_HOST_CALL("IQvxZoomStack.GetFullTimeSpan");
    if (!span) return E_POINTER;
    qvx::time low = 0, high = 0;
    bool known = TimeExtent(low, high);
    *span = high - low;
    return known ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::GetFullDistanceSpan(double* span)
{
    QVX_HOST_CALL("IQvxZoomStack.GetFullDistanceSpan");
    if (!span) return E_POINTER;
    double low = 0.0, high = 0.0;
    bool known = DistanceExtent(low, high);
    *span = high - low;
    return known ? S_OK : E_FAIL;
}

STDMETHODIMP CZoomStack::SetCursorCentred(VARIANT_BOOL centred)
{
    QVX_HOST_CALL("IQvxZoomStack.SetCursorCentred");
    if (CursorCentred == IsTrue(centred)) return S_OK;
    CursorCentred = IsTrue(centred);
    Dirty = true;
    FireOtherChange();
    return S_OK;
}

STDMETHODIMP CZoomStack::GetCursorCentred(VARIANT_BOOL* centred)
{
    QVX_HOST_CALL("IQvxZoomStack.GetCursorCentred");
    if (!centred) return E_POINTER;
    *centred = ToVariantBool(CursorCentred);
    return S_OK;
}

STDMETHODIMP CZoomStack::SetReferenceSelection(IQvxDataSelection* selection)
{
    QVX_HOST_CALL("IQvxZoomStack.SetReferenceSelection");
    if (SameObject(selection, Reference)) return S_OK;
    BindReference(selection);
    PublishView();
    return S_OK;
}

STDMETHODIMP CZoomStack::SetFixedTimeSpan(VARIANT_BOOL enable, __int64* span)
{
    QVX_HOST_CALL("IQvxZoomStack.SetFixedTimeSpan");
    if (IsTrue(enable)) {
        if (!span) return E_POINTER;
        if (*span <= 0) return E_INVALIDARG;
        FixedSpanLength = *span;
    }
    FixedSpan = IsTrue(enable);
    PublishView();
    return S_OK;
}

STDMETHODIMP CZoomStack::GetDepth(long* depth)
{
    QVX_HOST_CALL("IQvxZoomStack.GetDepth");
    if (!depth) return E_POINTER;
    *depth = long(Levels.size());
    return S_OK;
}

// --- IQvxZoomStackLimits ---

STDMETHODIMP CZoomStack::SetFrozenRange(__int64 from, __int64 to)
{
    QVX_HOST_CALL("IQvxZoomStackLimits.SetFrozenRange");
    if (from > to) return E_INVALIDARG;
    FrozenRangeSet = true;
    FrozenFrom = from;
    FrozenTo = to;
    PublishView();
    return S_OK;
}

STDMETHODIMP CZoomStack::SetFreeze(VARIANT_BOOL freeze)
{
    QVX_HOST_CALL("IQvxZoomStackLimits.SetFreeze");
    if (IsTrue(freeze) && !Frozen) {
        double low = 0.0;
        FrozenDistanceKnown = DistanceExtent(low, FrozenDistance);
    }
    Frozen = IsTrue(freeze);
    PublishView();
    return S_OK;
}

STDMETHODIMP CZoomStack::GetFreeze(VARIANT_BOOL* frozen)
{
    QVX_HOST_CALL("IQvxZoomStackLimits.GetFreeze");
    if (!frozen) return E_POINTER;
    *frozen = ToVariantBool(Frozen);
    return S_OK;
}

// --- what the stack hears ---

void CZoomStack::CWatcher::OnTaskGoingAway(IQvxTask*)
{
    CComPtr<IUnknown> self(Owner->ControllingUnknown());
    Owner->BindTask(nullptr);
    Owner->Notifier.Fire<IQvxZoomStackNotifications>(
        {__uuidof(IQvxZoomStackNotifications), __uuidof(IQvxZoomStackNotifications2), __uuidof(IQvxZoomStackNotifications3)},
        [&](IQvxZoomStackNotifications* sink) { sink->OnStackGoingAway(Owner); });
}

void CZoomStack::CWatcher::OnCurrentSelectionChanged(IQvxTask*)
{
    Owner->PublishView();
}

void CZoomStack::CWatcher::OnTimesChanged(IQvxDataSelection*)
{
    Owner->PublishView();
}

void CZoomStack::CWatcher::OnContentsChanged(IQvxDataSelection*)
{
    Owner->PublishView();
}

void CZoomStack::CWatcher::OnSelectionGoingAway(IQvxDataSelection*)
{
    Owner->BindReference(nullptr);
    Owner->PublishView();
}

// --- IPersistStreamInit ---

STDMETHODIMP CZoomStack::GetClassID(CLSID* clsid)
{
    if (!clsid) return E_POINTER;
    *clsid = __uuidof(QvxZoomStack);
    return S_OK;
}

STDMETHODIMP CZoomStack::IsDirty()
{
    QVX_HOST_CALL("IPersistStreamInit.IsDirty");
    return Dirty ? S_OK : S_FALSE;
}

STDMETHODIMP CZoomStack::Load(IStream* stream)
{
    QVX_HOST_CALL("IPersistStreamInit.Load");
    if (!stream) return E_POINTER;
    ULONG version = 0, count = 0;
    VARIANT_BOOL kept = VARIANT_TRUE, centred = VARIANT_FALSE;
    HRESULT hr = ReadValue(stream, version);
    if (SUCCEEDED(hr) && version != StreamVersion) hr = STG_E_OLDFORMAT;
    if (SUCCEEDED(hr)) hr = ReadValue(stream, kept);
    if (SUCCEEDED(hr)) hr = ReadValue(stream, centred);
    if (SUCCEEDED(hr)) hr = ReadValue(stream, count);
    std::vector<CLevel> levels;
    for (ULONG i = 0; SUCCEEDED(hr) && i < count; ++i) {
        BYTE distance = 0;
        CLevel level{};
        hr = ReadValue(stream, distance);
        if (SUCCEEDED(hr)) hr = ReadValue(stream, level.From);
        if (SUCCEEDED(hr)) hr = ReadValue(stream, level.To);
        if (SUCCEEDED(hr)) hr = ReadValue(stream, level.DistanceFrom);
        if (SUCCEEDED(hr)) hr = ReadValue(stream, level.DistanceTo);
        level.Distance = distance != 0;
        levels.push_back(level);
    }
    if (FAILED(hr)) return hr;
    bool levelsChanged = levels.empty() != Levels.empty();
    bool otherChanged = YZoomKept != IsTrue(kept) || CursorCentred != IsTrue(centred);
    Levels = std::move(levels);
    YZoomKept = IsTrue(kept);
    CursorCentred = IsTrue(centred);
    Dirty = false;
    PublishView();
    if (levelsChanged) FireLevelsChanged();
    if (otherChanged) FireOtherChange();
    return S_OK;
}

STDMETHODIMP CZoomStack::Save(IStream* stream, BOOL clearDirty)
{
    QVX_HOST_CALL("IPersistStreamInit.Save");
    if (!stream) return E_POINTER;
    HRESULT hr = WriteValue(stream, StreamVersion);
    if (SUCCEEDED(hr)) hr = WriteValue(stream, ToVariantBool(YZoomKept));
    if (SUCCEEDED(hr)) hr = WriteValue(stream, ToVariantBool(CursorCentred));
    if (SUCCEEDED(hr)) hr = WriteValue(stream, ULONG(Levels.size()));
    for (const CLevel& level : Levels) {
        if (SUCCEEDED(hr)) hr = WriteValue(stream, BYTE(level.Distance ? 1 : 0));
        if (SUCCEEDED(hr)) hr = WriteValue(stream, level.From);
        if (SUCCEEDED(hr)) hr = WriteValue(stream, level.To);
        if (SUCCEEDED(hr)) hr = WriteValue(stream, level.DistanceFrom);
        if (SUCCEEDED(hr)) hr = WriteValue(stream, level.DistanceTo);
    }
    if (SUCCEEDED(hr) && clearDirty) Dirty = false;
    return hr;
}

STDMETHODIMP CZoomStack::GetSizeMax(ULARGE_INTEGER* size)
{
    if (!size) return E_POINTER;
    size->QuadPart = sizeof(ULONG) * 2 + sizeof(VARIANT_BOOL) * 2 +
                     Levels.size() * (1 + 2 * sizeof(qvx::time) + 2 * sizeof(double));
    return S_OK;
}

STDMETHODIMP CZoomStack::InitNew()
{
    QVX_HOST_CALL("IPersistStreamInit.InitNew");
    bool hadLevels = !Levels.empty();
    Levels.clear();
    Dirty = false;
    PublishView();
    if (hadLevels) FireLevelsChanged();
    return S_OK;
}
