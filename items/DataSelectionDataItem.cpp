#include "DataSelectionDataItem.h"
#include "ItemFlags.h"
#include "TaskDataItem.h"

CDataSelectionDataItem::CDataSelectionDataItem(IQvxDataSelection* selection, CTaskDataItem* task, long index)
    : Selection(selection), Task(task), Index(index)
{
    if (Selection) Selection.As(Selection2);
    qvx::time start = 0, end = 0, offset = 0;
    if (CDataSelectionDataItem::GetTimes(start, end, offset)) {
        StartTime = start;
        EndTime = end;
        TimeOffset = offset;
    }
    // One sink, of the newest version that the selection offers.
    if (Selection2) {
        Sink2 = CreateSink<CSink2>(static_cast<CDataSelectionNotifications2Receiver*>(this));
        if (Sink2) Sink2->Advise(Selection2);
    } else if (Selection) {
        Sink1 = CreateSink<CSink1>(static_cast<CDataSelectionNotificationsReceiver*>(this));
        if (Sink1) Sink1->Advise(Selection);
    }
}

CDataSelectionDataItem::~CDataSelectionDataItem()
{
    CloseSink(Sink2, Selection2);
    CloseSink(Sink1, Selection);
}

bool CDataSelectionDataItem::GetTimes(qvx::time& start, qvx::time& end, qvx::time& offset)
{
    return Selection && SUCCEEDED(Selection->GetStartTime(&start)) && SUCCEEDED(Selection->GetEndTime(&end))
           && SUCCEEDED(Selection->GetTimeOffset(&offset));
}

bool CDataSelectionDataItem::IsSecondary() const
{
    VARIANT_BOOL secondary = VARIANT_FALSE;
    return Selection2 && SUCCEEDED(Selection2->GetIsSecondary(&secondary)) && secondary == VARIANT_TRUE;
}

void CDataSelectionDataItem::OnColorChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionColorStale, 1);
}

void CDataSelectionDataItem::OnContentsChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionEventSetsStale, 1);
    if (Task) Task->NotifyChange(TaskTimeRangeStale | TaskDistanceRangeStale, 1);
}

void CDataSelectionDataItem::OnSelectionGoingAway(IQvxDataSelection*)
{
    if (Task) Task->RemoveSelection(this);
    delete this;
}

void CDataSelectionDataItem::OnTimesChanged(IQvxDataSelection*)
{
    qvx::time start = 0, end = 0, offset = 0;
    if (!GetTimes(start, end, offset)) return;
    if (start != StartTime) {
        ForgetSegments();
        ForgetSplits();
    }
    if (start == StartTime && end == EndTime && offset == TimeOffset) return;
    StartTime = start;
    EndTime = end;
    TimeOffset = offset;
    NotifyChange(SelectionTimesChanged | SelectionDistanceStale, 1);
    NotifyTimesChanged();
}

void CDataSelectionDataItem::OnChannelsChanged(IQvxDataSelection*)
{
    NotifyChange(SelectionChannelsChanged, 1);
    if (!Task) return;
    Task->NotifyChange(TaskSelectionsStale | TaskActiveStale, 1);
    Task->InvalidateChannels();
}

void CDataSelectionDataItem::NotifyTimesChanged()
{
    // The autoscaled channels of this selection's traces follow once the selection has traces.
    NotifyChange(SelectionSplitsStale | SelectionSegmentsStale, 1);
}
