#pragma once
// The substitute host's root: tasks over simulated recordings, the default factories of
// channel and event properties and of groups, the distance source, the time format and
// digits, and the colours of event priorities; with IQvxSimulation for tests and the demo.
//
// Task 1 holds the live recording ("Live", real-time), a finished session ("Session 1") and a
// finished secondary lap ("Reference lap"); task 2 a finished session ("Archive").
#include <string>
#include <vector>
#include "sim/DataSelection.h"
#include "sim/EventObjects.h"
#include "sim/GroupFactory.h"
#include "sim/Notifier.h"
#include "sim/PropertyFactory.h"
#include "QvxSim.h"
#include "sim/Task.h"

class CDistanceSource : public CComRoot, public IQvxMapSource
{
public:
    QVX_BEGIN_INTERFACES(CDistanceSource)
        QVX_INTERFACE_VIA(CDistanceSource, IQvxDistanceSource, IQvxMapSource),
        QVX_INTERFACE(CDistanceSource, IQvxMapSource),
    QVX_END_INTERFACES()

    void Init(std::wstring distance, std::wstring mapDistance);

    QVX_RESERVED(0)
    QVX_RESERVED(1)
    STDMETHODIMP GetDistanceChannelName(BSTR* name) override;
    QVX_RESERVED(3)
    QVX_RESERVED(4)
    QVX_RESERVED(5)
    QVX_RESERVED(6)
    QVX_RESERVED(7)
    QVX_RESERVED(8)
    QVX_RESERVED(9)
    QVX_RESERVED(10)
    QVX_RESERVED(11)
    QVX_RESERVED(12)
    QVX_RESERVED(13)
    STDMETHODIMP GetMapDistanceChannelName(BSTR* name) override;

private:
    std::wstring Distance;
    std::wstring MapDistance;
};

class CSimulatedHost : public CComRoot,
                       public IQvxOrvid,
                       public IQvxHost,
                       public CNotificationsImpl,
                       public IQvxSimulation
{
public:
    QVX_BEGIN_INTERFACES(CSimulatedHost)
        QVX_INTERFACE(CSimulatedHost, IQvxOrvid),
        QVX_INTERFACE(CSimulatedHost, IQvxHost),
        QVX_INTERFACE(CSimulatedHost, IQvxNotifications),
        QVX_INTERFACE(CSimulatedHost, IQvxSimulation),
    QVX_END_INTERFACES()

    static constexpr qvx::time RecordingStart = 133'485'408'000'000'000;   // 1 January 2024

    CSimulatedHost();
    HRESULT FinalConstruct();
    void FinalRelease();

    // IQvxOrvid
    STDMETHODIMP GetChannelDefaults(IQvxPropertyFactory** factory) override;
    QVX_RESERVED(1)
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    STDMETHODIMP GetDistanceSource(IQvxDistanceSource** source) override;
    QVX_RESERVED(5)
    STDMETHODIMP GetGroupDefaults(IQvxGroupFactory** factory) override;
    QVX_RESERVED(7)
    QVX_RESERVED(8)
    STDMETHODIMP GetTaskList(IQvxTaskList** tasks) override;
    QVX_RESERVED(10)
    QVX_RESERVED(11)
    QVX_RESERVED(12)
    QVX_RESERVED(13)
    QVX_RESERVED(14)
    QVX_RESERVED(15)
    QVX_RESERVED(16)
    QVX_RESERVED(17)
    STDMETHODIMP GetTimeFormat(long* format) override;
    QVX_RESERVED(19)
    STDMETHODIMP GetEventPriorities(IQvxEventPriorities** priorities) override;
    QVX_RESERVED(21)
    QVX_RESERVED(22)
    QVX_RESERVED(23)
    QVX_RESERVED(24)
    STDMETHODIMP GetEventDefaults(IQvxEventPropertyFactory** factory) override;
    QVX_RESERVED(26)
    STDMETHODIMP GetTimeDigits(unsigned short* digits) override;

    // IQvxHost
    STDMETHODIMP GetApplicationName(BSTR* name) override;
    // GetGroupDefaults, GetChannelDefaults and GetEventDefaults are shared with IQvxOrvid.

    // IQvxSimulation
    STDMETHODIMP Initialise(ULONG seed) override;
    STDMETHODIMP Advance(__int64 ticks) override;
    STDMETHODIMP GetClock(__int64* now) override;
    STDMETHODIMP GetRecordingStart(__int64* start) override;
    STDMETHODIMP GetLapLength(double* metres) override;
    STDMETHODIMP SetFault(BSTR operation, HRESULT status) override;
    STDMETHODIMP ClearFaults() override;
    STDMETHODIMP GetCallCount(BSTR operation, long* count) override;
    STDMETHODIMP ResetCallCounts() override;
    STDMETHODIMP GetSinkCount(long* count) override;
    STDMETHODIMP SetRunning(long taskId, VARIANT_BOOL running) override;
    STDMETHODIMP SetTimeFormat(long format) override;
    STDMETHODIMP SetTimeDigits(unsigned short digits) override;
    STDMETHODIMP SetEventPriorityColor(long priority, OLE_COLOR colour) override;
    STDMETHODIMP ReplaceChannelDefaults() override;
    STDMETHODIMP ReplaceEventDefaults() override;
    STDMETHODIMP ReplaceGroupDefaults() override;
    STDMETHODIMP ReplaceDistanceSource(BSTR channel) override;
    STDMETHODIMP StopRecording() override;
    STDMETHODIMP AddDataSelection(long taskId, ULONG seed, __int64 length, VARIANT_BOOL secondary) override;
    STDMETHODIMP RemoveDataSelection(long taskId, long index) override;
    STDMETHODIMP SetSelectionSecondary(long taskId, long index, VARIANT_BOOL secondary) override;
    STDMETHODIMP SetSelectionText(long taskId, long index, BSTR text) override;
    STDMETHODIMP SetSelectionColor(long taskId, long index, OLE_COLOR colour) override;
    STDMETHODIMP GetChannelUse(long taskId, long index, BSTR channel, long* uses, long* subscribers) override;
    STDMETHODIMP Shutdown() override;
    STDMETHODIMP ResumeRecording() override;
    STDMETHODIMP RemoveChannel(long taskId, long index, BSTR channel) override;
    STDMETHODIMP RestoreChannel(long taskId, long index, BSTR channel) override;
    STDMETHODIMP RestoreDataSelection(long taskId) override;
    STDMETHODIMP RepeatDataChanges(long taskId, long index, long count, VARIANT_BOOL reversed) override;
    STDMETHODIMP SetLateDelivery(VARIANT_BOOL late) override;
    STDMETHODIMP AddGeneratedChannels(long count, long rate) override;
    STDMETHODIMP WatchArrays(VARIANT_BOOL watch) override;

private:
    HRESULT BuildTasks();
    HRESULT MakeSelection(ULONG seed, qvx::time start, qvx::time length, bool live, const wchar_t* text,
                          OLE_COLOR colour, bool secondary, CObjectPtr<CDataSelection>& selection);
    HRESULT MakeChannelDefaults(CObjectPtr<CChannelPropertyFactory>& factory);
    HRESULT MakeEventDefaults(CObjectPtr<CEventPropertyFactory>& factory);
    HRESULT MakeGroupDefaults(CObjectPtr<CGroupFactory>& factory);
    // A client has seen the recordings or time has run: they can no longer be made again.
    bool RecordingsFixed() const noexcept { return Exposed || Elapsed != 0 || Closed; }
    CTask* FindTask(long id) const;
    CDataSelection* FindSelection(long taskId, long index) const;
    // Calls each sink of the root's notifications of version I or later.
    template <class I, class Call>
    void FireRoot(Call&& call);
    IQvxOrvid* Self() { return this; }

    ULONG Seed = 1;
    bool Exposed = false;     // a client has seen the tasks: the seed is fixed
    bool Closed = false;
    qvx::time Elapsed = 0;
    std::shared_ptr<const CChannelTable> Channels = CChannelTable::Car();
    std::vector<CObjectPtr<CTask>> Tasks;
    CObjectPtr<CChannelPropertyFactory> ChannelDefaults;
    CObjectPtr<CEventPropertyFactory> EventDefaults;
    CObjectPtr<CGroupFactory> GroupDefaults;
    CObjectPtr<CDistanceSource> DistanceSource;
    CObjectPtr<CEventPriorities> Priorities;
    long TimeFormat = 0;
    unsigned short TimeDigits = 3;
};
