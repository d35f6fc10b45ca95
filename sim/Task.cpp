#include "sim/Task.h"
#include <algorithm>

CTask::CTask()
    : CNotificationsImpl({__uuidof(IQvxTaskNotifications), __uuidof(IQvxTaskNotifications2),
                          __uuidof(IQvxTaskNotifications3), __uuidof(IQvxTaskNotifications4),
                          __uuidof(IQvxTaskNotifications5), __uuidof(IQvxTaskNotifications6)})
{
}

template <class Call>
void CTask::FireTask(Call&& call)
{
    // Every version extends the first: all sinks hear its operations.
    Notifier.Fire<IQvxTaskNotifications>({__uuidof(IQvxTaskNotifications), __uuidof(IQvxTaskNotifications2),
                                          __uuidof(IQvxTaskNotifications3), __uuidof(IQvxTaskNotifications4),
                                          __uuidof(IQvxTaskNotifications5), __uuidof(IQvxTaskNotifications6)},
                                         call);
}

STDMETHODIMP CTask::GetCurrentDataSelection(IQvxDataSelection** selection)
{
    QVX_HOST_CALL("IQvxTask.GetCurrentDataSelection");
    if (!selection) return E_POINTER;
    *selection = nullptr;
    if (Current < 1 || size_t(Current) > SelectionList.size()) return E_FAIL;
    return GiveOut(SelectionList[size_t(Current - 1)], selection);
}

STDMETHODIMP CTask::SetCurrentDataSelection(long index)
{
    QVX_HOST_CALL("IQvxTask.SetCurrentDataSelection");
    if (index < 1 || size_t(index) > SelectionList.size()) return E_INVALIDARG;
    if (index == Current) return S_OK;
    Current = index;
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnCurrentSelectionChanged(Self()); });
    return S_OK;
}

STDMETHODIMP CTask::GetRunning(VARIANT_BOOL* running)
{
    QVX_HOST_CALL("IQvxTask.GetRunning");
    if (!running) return E_POINTER;
    *running = ToVariantBool(Running);
    return S_OK;
}

STDMETHODIMP CTask::GetCursorTime(__int64* time)
{
    QVX_HOST_CALL("IQvxTask.GetCursorTime");
    if (!time) return E_POINTER;
    *time = Cursor;
    return S_OK;
}

STDMETHODIMP CTask::SetCursorTime(__int64 time)
{
    QVX_HOST_CALL("IQvxTask.SetCursorTime");
    Cursor = time;
    // Every view of the task follows, the one that moved it included.
    CComPtr<IUnknown> self(ControllingUnknown());
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnCursorChanged(Self(), time); });
    return S_OK;
}

STDMETHODIMP CTask::GetDataSelections(IQvxDataSelectionList** selections)
{
    QVX_HOST_CALL("IQvxTask.GetDataSelections");
    if (!selections) return E_POINTER;
    *selections = nullptr;
    CObjectPtr<CDataSelectionList> list;
    HRESULT hr = CreateObject<CDataSelectionList, IQvxDataSelectionList>(list);
    if (FAILED(hr)) return hr;
    list->Init(SelectionList);
    return GiveOut(list, selections);
}

STDMETHODIMP CTask::GetDefaultSelectionIndex(long* index)
{
    QVX_HOST_CALL("IQvxTask.GetDefaultSelectionIndex");
    if (!index) return E_POINTER;
    // The live selection if there is one, else the first.
    *index = SelectionList.empty() ? 0 : 1;
    for (size_t i = 0; i < SelectionList.size(); ++i) {
        if (SelectionList[i]->IsLive()) { *index = long(i + 1); break; }
    }
    return S_OK;
}

STDMETHODIMP CTask::GetDisplayOrder(SAFEARRAY** order)
{
    QVX_HOST_CALL("IQvxTaskOrder.GetDisplayOrder");
    if (!order) return E_POINTER;
    *order = nullptr;
    // Primary selections in host order, then the secondary ones; the array counts from 1.
    std::vector<long> indices;
    for (int secondary = 0; secondary < 2; ++secondary) {
        for (size_t i = 0; i < SelectionList.size(); ++i) {
            if (SelectionList[i]->IsSecondary() == (secondary == 1)) indices.push_back(long(i + 1));
        }
    }
    SAFEARRAY* array = SafeArrayCreateVector(VT_I4, 1, ULONG(indices.size()));
    if (!array) return E_OUTOFMEMORY;
    for (size_t i = 0; i < indices.size(); ++i) {
        LONG at = LONG(i + 1);
        SafeArrayPutElement(array, &at, &indices[i]);
    }
    *order = array;
    return S_OK;
}

void CTask::AddSelection(CObjectPtr<CDataSelection> selection, bool tell)
{
    SelectionList.push_back(std::move(selection));
    if (!tell) return;
    CComPtr<IUnknown> self(ControllingUnknown());
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnSelectionsChanged(Self()); });
}

HRESULT CTask::RemoveSelection(long index)
{
    if (index < 1 || size_t(index) > SelectionList.size()) return E_INVALIDARG;
    CComPtr<IUnknown> self(ControllingUnknown());
    CObjectPtr<CDataSelection> removed = SelectionList[size_t(index - 1)];
    SelectionList.erase(SelectionList.begin() + (index - 1));
    // What a later restore opens: a new object over the same recording, which no one holds yet.
    CObjectPtr<CDataSelection> reopened;
    if (SUCCEEDED(removed->Reopen(reopened))) Removed.emplace_back(index, reopened);
    removed->GoAway();
    bool currentChanged = index == Current;
    if (index < Current || size_t(Current) > SelectionList.size()) --Current;
    if (Current < 1 && !SelectionList.empty()) Current = 1;
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnSelectionsChanged(Self()); });
    if (currentChanged) FireTask([&](IQvxTaskNotifications* sink) { sink->OnCurrentSelectionChanged(Self()); });
    return S_OK;
}

HRESULT CTask::RestoreSelection()
{
    if (Removed.empty()) return S_FALSE;
    CComPtr<IUnknown> self(ControllingUnknown());
    auto [index, reopened] = Removed.back();
    Removed.pop_back();
    const long place = std::min(index, long(SelectionList.size()) + 1);
    SelectionList.insert(SelectionList.begin() + (place - 1), reopened);
    const bool currentChanged = Current < 1;
    if (currentChanged) Current = 1;
    else if (place <= Current) ++Current;
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnSelectionsChanged(Self()); });
    if (currentChanged) FireTask([&](IQvxTaskNotifications* sink) { sink->OnCurrentSelectionChanged(Self()); });
    return S_OK;
}

CDataSelection* CTask::Selection(long index) const
{
    if (index < 1 || size_t(index) > SelectionList.size()) return nullptr;
    return SelectionList[size_t(index - 1)];
}

void CTask::SetRunning(bool running)
{
    if (Running == running) return;
    Running = running;
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnRunningChanged(Self()); });
}

void CTask::Advance(qvx::time ticks)
{
    auto selections = SelectionList;
    for (auto& selection : selections) {
        if (selection->IsLive()) selection->Advance(ticks);
    }
}

void CTask::StopRecording()
{
    auto selections = SelectionList;
    for (auto& selection : selections) selection->StopRecording();
}

void CTask::ResumeRecording()
{
    auto selections = SelectionList;
    for (auto& selection : selections) selection->ResumeRecording();
}

void CTask::GoAway()
{
    CComPtr<IUnknown> self(ControllingUnknown());
    auto selections = std::move(SelectionList);
    SelectionList.clear();
    Removed.clear();
    Current = 0;
    for (auto& selection : selections) selection->GoAway();
    FireTask([&](IQvxTaskNotifications* sink) { sink->OnTaskGoingAway(Self()); });
}

// --- CTaskList ---

STDMETHODIMP CTaskList::GetCount(long* count)
{
    QVX_HOST_CALL("IQvxTaskList.GetCount");
    if (!count) return E_POINTER;
    *count = long(Tasks.size());
    return S_OK;
}

STDMETHODIMP CTaskList::GetItem(long id, IQvxTask** task)
{
    QVX_HOST_CALL("IQvxTaskList.GetItem");
    if (!task) return E_POINTER;
    *task = nullptr;
    for (const auto& candidate : Tasks) {
        if (candidate->GetId() == id) return GiveOut(candidate, task);
    }
    return E_INVALIDARG;
}

STDMETHODIMP CTaskList::GetId(long index, long* id)
{
    QVX_HOST_CALL("IQvxTaskList.GetId");
    if (!id) return E_POINTER;
    if (index < 1 || size_t(index) > Tasks.size()) return E_INVALIDARG;
    *id = Tasks[size_t(index - 1)]->GetId();
    return S_OK;
}
