#pragma once
// The zoom stack: the horizontal zoom history of the views of a task, or of one chart.
//
// Its times count from the start of the data that it offers: the selection that is its
// reference, or else the current selection of its task. With a fixed time span it offers only
// the newest span of that data, and its times count from the start of that span. Frozen, it
// offers the stretch from 0 to the end of the frozen range, and the distance that it offered
// when it froze, whatever data arrive.
//
// Levels are pushed and popped; SetTimeZoom replaces the top level (or makes the first), kept
// inside the data, and answers S_FALSE when it had to move the range to keep it there.
// Notifications: range changed whenever the visible range or the full span would now read
// differently; levels changed when the first level comes or the last goes; other change for the
// centred cursor and the vertical-zoom setting; going away when its task goes away.
#include <ocidl.h>
#include <vector>
#include "config/DataSelectionNotifications.h"
#include "sim/Notifier.h"
#include "sim/SimObject.h"
#include "config/TaskNotifications.h"

class CZoomStack : public CComRoot,
                   public IQvxZoomStack,
                   public IQvxZoomStackLimits,
                   public CNotificationsImpl,
                   public IPersistStreamInit
{
public:
    QVX_BEGIN_INTERFACES(CZoomStack)
        QVX_INTERFACE(CZoomStack, IQvxZoomStack),
        QVX_INTERFACE(CZoomStack, IQvxZoomStackLimits),
        QVX_INTERFACE(CZoomStack, IQvxNotifications),
        QVX_INTERFACE(CZoomStack, IPersistStreamInit),
        QVX_INTERFACE_VIA(CZoomStack, IPersist, IPersistStreamInit),
    QVX_END_INTERFACES()

    CZoomStack();
    HRESULT FinalConstruct();
    void FinalRelease();

    // IQvxZoomStack
    STDMETHODIMP SetTask(IQvxTask* task) override;
    QVX_RESERVED(1)
    STDMETHODIMP GetTimeMinimum(__int64* time) override;
    STDMETHODIMP GetTimeMaximum(__int64* time) override;
    STDMETHODIMP GetDistanceMinimum(double* distance) override;
    STDMETHODIMP GetDistanceMaximum(double* distance) override;
    STDMETHODIMP GetIsZoomed(VARIANT_BOOL* zoomed) override;
    QVX_RESERVED(7)
    STDMETHODIMP PushTimeZoom(__int64 from, __int64 to) override;
    STDMETHODIMP PushDistanceZoom(double from, double to) override;
    STDMETHODIMP Pop() override;
    STDMETHODIMP PopAll() override;
    STDMETHODIMP SetTimeZoom(__int64 from, __int64 to, VARIANT_BOOL notify) override;
    STDMETHODIMP SetDistanceZoom(double from, double to, VARIANT_BOOL notify) override;
    QVX_RESERVED(14)
    QVX_RESERVED(15)
    STDMETHODIMP GetIsYZoomKept(VARIANT_BOOL* kept) override;
    QVX_RESERVED(17)
    QVX_RESERVED(18)
    STDMETHODIMP GetFullTimeSpan(__int64* span) override;
    STDMETHODIMP GetFullDistanceSpan(double* span) override;
    STDMETHODIMP SetCursorCentred(VARIANT_BOOL centred) override;
    STDMETHODIMP GetCursorCentred(VARIANT_BOOL* centred) override;
    STDMETHODIMP SetReferenceSelection(IQvxDataSelection* selection) override;
    STDMETHODIMP SetFixedTimeSpan(VARIANT_BOOL enable, __int64* span) override;
    STDMETHODIMP SetIsYZoomKept(VARIANT_BOOL kept) override;
    STDMETHODIMP GetDepth(long* depth) override;

    // IQvxZoomStackLimits
    QVX_RESERVED(0)
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    QVX_RESERVED(4)
    QVX_RESERVED(5)
    QVX_RESERVED(6)
    QVX_RESERVED(8)
    QVX_RESERVED(9)
    QVX_RESERVED(10)
    QVX_RESERVED(11)
    STDMETHODIMP SetFrozenRange(__int64 from, __int64 to) override;
    QVX_RESERVED(13)
    QVX_RESERVED(16)
    STDMETHODIMP SetFreeze(VARIANT_BOOL freeze) override;
    STDMETHODIMP GetFreeze(VARIANT_BOOL* frozen) override;

    // IPersistStreamInit
    STDMETHODIMP GetClassID(CLSID* clsid) override;
    STDMETHODIMP IsDirty() override;
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;
    STDMETHODIMP InitNew() override;

private:
    struct CLevel
    {
        bool Distance;
        qvx::time From;
        qvx::time To;
        double DistanceFrom;
        double DistanceTo;
    };

    // What the stack answers; compared to decide on a range notification.
    struct CView
    {
        bool TimeKnown = false;
        qvx::time TimeMinimum = 0;
        qvx::time TimeMaximum = 0;
        qvx::time FullTimeSpan = 0;
        bool DistanceKnown = false;
        double DistanceMinimum = 0.0;
        double DistanceMaximum = 0.0;
        double FullDistanceSpan = 0.0;
        bool operator==(const CView&) const = default;
    };

    // Listens to the task and the reference selection for the stack.
    class CWatcher : public CTaskNotificationsReceiver, public CDataSelectionNotificationsReceiver
    {
    public:
        explicit CWatcher(CZoomStack* owner) : Owner(owner) {}
        void OnTaskGoingAway(IQvxTask* task) override;
        void OnCurrentSelectionChanged(IQvxTask* task) override;
        void OnTimesChanged(IQvxDataSelection* selection) override;
        void OnContentsChanged(IQvxDataSelection* selection) override;
        void OnSelectionGoingAway(IQvxDataSelection* selection) override;

    private:
        CZoomStack* Owner;
    };
    using CTaskSink = CTaskNotificationsSink<CBaseSingleSourceSink<IQvxTaskNotifications>>;
    using CSelectionSink = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;

    CComPtr<IQvxDataSelection> BaseSelection();
    bool TimeExtent(qvx::time& low, qvx::time& high);
    bool DistanceExtent(double& low, double& high);
    CView ComputeView();
    const CLevel* TopLevel(bool distance) const;
    // Tells the sinks of a range change if the view now differs from what they last heard.
    void PublishView();
    void FireLevelsChanged();
    void FireOtherChange();
    void ReplaceTop(const CLevel& level, bool notify);
    void BindTask(IQvxTask* task);
    void BindReference(IQvxDataSelection* selection);

    CWatcher Watcher;
    CComPtr<CTaskSink> TaskSink;
    CComPtr<CSelectionSink> SelectionSink;
    CComPtr<IQvxTask> Task;
    CComPtr<IQvxDataSelection> Reference;
    std::vector<CLevel> Levels;
    bool FixedSpan = false;
    qvx::time FixedSpanLength = 0;
    bool Frozen = false;
    bool FrozenRangeSet = false;
    qvx::time FrozenFrom = 0;
    qvx::time FrozenTo = 0;
    bool FrozenDistanceKnown = false;
    double FrozenDistance = 0.0;
    bool CursorCentred = false;
    bool YZoomKept = true;
    bool Dirty = false;
    CView Published;
};
