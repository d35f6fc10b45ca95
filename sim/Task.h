#pragma once
// A task of the substitute host: its data selections, the current one, the shared cursor, the
// run state (false while the host has paused all its views) and the order of display; and the
// host's list of tasks by id.
#include <string>
#include <utility>
#include <vector>
#include "sim/DataSelection.h"

class CTask : public CComRoot, public IQvxTaskOrder, public CNotificationsImpl
{
public:
    QVX_BEGIN_INTERFACES(CTask)
        QVX_INTERFACE_VIA(CTask, IQvxTask, IQvxTaskOrder),
        QVX_INTERFACE(CTask, IQvxTaskOrder),
        QVX_INTERFACE(CTask, IQvxNotifications),
    QVX_END_INTERFACES()

    CTask();
    void Init(long id) { Id = id; }

    STDMETHODIMP GetCurrentDataSelection(IQvxDataSelection** selection) override;
    STDMETHODIMP SetCurrentDataSelection(long index) override;
    QVX_RESERVED(2)
    QVX_RESERVED(3)
    QVX_RESERVED(4)
    STDMETHODIMP GetRunning(VARIANT_BOOL* running) override;
    QVX_RESERVED(6)
    QVX_RESERVED(7)
    QVX_RESERVED(8)
    QVX_RESERVED(9)
    QVX_RESERVED(10)
    STDMETHODIMP GetCursorTime(__int64* time) override;
    STDMETHODIMP SetCursorTime(__int64 time) override;
    QVX_RESERVED(13)
    STDMETHODIMP GetDataSelections(IQvxDataSelectionList** selections) override;
    STDMETHODIMP GetDefaultSelectionIndex(long* index) override;
    QVX_RESERVED(16)
    QVX_RESERVED(17)
    QVX_RESERVED(18)
    QVX_RESERVED(19)
    QVX_RESERVED(20)
    STDMETHODIMP GetDisplayOrder(SAFEARRAY** order) override;

    // The host's side.
    long GetId() const noexcept { return Id; }
    // Appends a selection; `tell` reports the change of the task's selections.
    void AddSelection(CObjectPtr<CDataSelection> selection, bool tell);
    HRESULT RemoveSelection(long index);
    // The selection last removed opens again at its old place; S_FALSE when none was removed.
    HRESULT RestoreSelection();
    CDataSelection* Selection(long index) const;
    const std::vector<CObjectPtr<CDataSelection>>& Selections() const noexcept { return SelectionList; }
    void SetRunning(bool running);
    void Advance(qvx::time ticks);
    void StopRecording();
    void ResumeRecording();
    void GoAway();
    IQvxTask* Self() { return static_cast<IQvxTaskOrder*>(this); }

private:
    template <class Call>
    void FireTask(Call&& call);

    long Id = 0;
    std::vector<CObjectPtr<CDataSelection>> SelectionList;
    std::vector<std::pair<long, CObjectPtr<CDataSelection>>> Removed;   // place, and the selection to reopen
    long Current = 1;
    bool Running = true;
    qvx::time Cursor = 0;
};

class CTaskList : public CComRoot, public IQvxTaskList
{
public:
    QVX_BEGIN_INTERFACES(CTaskList)
        QVX_INTERFACE(CTaskList, IQvxTaskList),
    QVX_END_INTERFACES()

    void Init(const std::vector<CObjectPtr<CTask>>& tasks) { Tasks = tasks; }

    STDMETHODIMP GetCount(long* count) override;
    STDMETHODIMP GetItem(long id, IQvxTask** task) override;
    STDMETHODIMP GetId(long index, long* id) override;

private:
    std::vector<CObjectPtr<CTask>> Tasks;
};
