#pragma once
// A data selection on the chart: a stretch of recorded or live data in the host. The item keeps
// the selection's bounds and offset, listens to the selection, and takes itself out of its task
// when the host lets the selection go. All sample times on the chart count from its start.
//
// What is here: the bounds, the offset and the selection's notifications. The colour, the event
// sets, the lap markers, the distance items, segments and splits come with their readers.
#include <windows.h>
#include <vector>
#include "ComPtr.h"
#include "DataItemBase.h"
#include "DataSelectionNotifications.h"
#include "Interfaces.h"

class CTaskDataItem;

class CDataSelectionDataItem : public CDataItemBase, public CDataSelectionNotifications2Receiver
{
public:
    // Nothing of the list is known yet.
    static constexpr qvx::time UnknownTime = qvx::time(0x8000000000000000ull);

    // `index` is the selection's 1-based place in the host's task. Reads the bounds and advises
    // one sink: on IQvxDataSelection2 when the selection has it, else on IQvxDataSelection.
    CDataSelectionDataItem(IQvxDataSelection* selection, CTaskDataItem* task, long index);
    ~CDataSelectionDataItem() override;

    // Start, end and offset from the host; false at the first failure.
    virtual bool GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset);

    IQvxDataSelection* GetSelection() const noexcept { return Selection; }
    qvx::time GetStartTime() const noexcept { return StartTime; }
    qvx::time GetEndTime() const noexcept { return EndTime; }
    qvx::time GetTimeOffset() const noexcept { return TimeOffset; }
    // The selection's length on the chart's time axis.
    qvx::time GetLength() const noexcept { return EndTime - StartTime; }
    long GetIndex() const noexcept { return Index; }
    // GetIsSecondary of the host; false without IQvxDataSelection2 or when the host fails.
    bool IsSecondary() const;
    // The segment and split lists are good up to nothing.
    void ForgetSegments() noexcept { SegmentsValidTo = UnknownTime; }
    void ForgetSplits() noexcept { SplitsValidTo = UnknownTime; }
    qvx::time GetSegmentsValidTo() const noexcept { return SegmentsValidTo; }
    qvx::time GetSplitsValidTo() const noexcept { return SplitsValidTo; }

    // --- CDataSelectionNotificationsReceiver ---
    void OnColorChanged(IQvxDataSelection* selection) override;
    void OnContentsChanged(IQvxDataSelection* selection) override;
    // Leaves the task's vectors and deletes itself.
    void OnSelectionGoingAway(IQvxDataSelection* selection) override;
    void OnTimesChanged(IQvxDataSelection* selection) override;
    // --- CDataSelectionNotifications2Receiver ---
    void OnChannelsChanged(IQvxDataSelection* selection) override;

protected:
    // Segments and splits from here on need reading again.
    void NotifyTimesChanged();

    CTaskDataItem* GetTask() const noexcept { return Task; }

private:
    using CSink1 = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;
    using CSink2 = CDataSelectionNotifications2Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications2>>;

    qvx::time StartTime = 0;
    qvx::time EndTime = 0;
    qvx::time TimeOffset = 0;
    CComPtr<IQvxDataSelection> Selection;
    CComPtr<IQvxDataSelection2> Selection2;
    CComPtr<CSink1> Sink1;
    CComPtr<CSink2> Sink2;
    CTaskDataItem* Task;
    qvx::time SegmentsValidTo = UnknownTime;
    qvx::time SplitsValidTo = UnknownTime;
    long Index;
};

// The selection of a real-time chart. Its sliding window over the live data comes with the
// real-time task.
class CRTCDataSelectionDataItem : public CDataSelectionDataItem
{
public:
    using CDataSelectionDataItem::CDataSelectionDataItem;
};
