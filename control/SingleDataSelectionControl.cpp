#include "control/SingleDataSelectionControl.h"

STDMETHODIMP IQvxSingleDataSelectionControlImpl::SetSelectionIndex(long index)
{
    if (index < 1) return DISP_E_BADINDEX;
    return SelectByIndex(ULONG(index));
}

STDMETHODIMP IQvxSingleDataSelectionControlImpl::GetSelection(IQvxDataSelection** selection)
{
    if (!selection) return E_POINTER;
    *selection = nullptr;
    IQvxDataSelection* resolved = ResolveSelection();
    if (!resolved) return E_FAIL;
    resolved->AddRef();
    *selection = resolved;
    return S_OK;
}

HRESULT IQvxSingleDataSelectionControlImpl::SelectByIndex(ULONG index)
{
    // The host's answers may come with news that lets the control go.
    const CComPtr<IUnknown> keepAlive(static_cast<IQvxSingleDataSelectionControl*>(this));
    CComPtr<IQvxTask> task;
    if (FAILED(GetSelectionTask(task.Out())) || !task) return E_FAIL;
    CComPtr<IQvxDataSelectionList> list;
    HRESULT hr = task->GetDataSelections(list.Out());
    if (FAILED(hr)) return hr;
    if (!list) return E_FAIL;
    long position = long(index);
    if (index == NoSelection) {
        hr = task->GetDefaultSelectionIndex(&position);
        if (FAILED(hr)) return hr;
    }
    // What was read of the last choice does not outlive a failed one.
    SelectionText = CBstr();
    IsSecondary = 0;
    CComPtr<IQvxDataSelection> selection;
    hr = list->GetItem(position, selection.Out());
    if (FAILED(hr)) return hr;
    CComPtr<IQvxDataSelection2> selection2;
    CComPtr<IQvxDataSelection3> selection3;
    if (selection) {
        selection.As(selection2);
        selection.As(selection3);
    }
    IsSecondary = ReadIsSecondary(selection2);
    SelectionText = ReadText(selection3);
    SetSelection(selection);
    return S_OK;
}

void IQvxSingleDataSelectionControlImpl::SetSelection(IQvxDataSelection* selection)
{
    if (SameObject(selection, Selection)) return;
    Unadvise();
    Selection = selection;
    if (Selection) {
        Selection.As(Selection2);
        Selection.As(Selection3);
        if (Sink1) Sink1->Advise(Selection);
        if (Sink2 && Selection2) Sink2->Advise(Selection2);
        if (Sink3 && Selection3) Sink3->Advise(Selection3);
    }
    // A choice that the layout named is taken up quietly: the chart is being built from it.
    if (SelectedIndex == NoSelection)
        OnSelectionChanged();
    else
        SelectedIndex = NoSelection;
}

IQvxDataSelection* IQvxSingleDataSelectionControlImpl::ResolveSelection()
{
    if (!Selection) SelectByIndex(SelectedIndex);
    return IsSecondary ? nullptr : Selection.Get();
}

void IQvxSingleDataSelectionControlImpl::OnSelectionGoingAway(IQvxDataSelection*)
{
    SetSelection(nullptr);
}

void IQvxSingleDataSelectionControlImpl::OnChannelsChanged(IQvxDataSelection*)
{
    // The host changes what a selection is through this notification: it may have become, or
    // stopped being, a secondary one.
    const BYTE secondary = ReadIsSecondary(Selection2);
    if (secondary == IsSecondary) return;
    IsSecondary = secondary;
    OnSelectionChanged();
}

void IQvxSingleDataSelectionControlImpl::OnSelectionTextChanged(IQvxDataSelection*)
{
    CBstr text = ReadText(Selection3);
    if (VarBstrCmp(text.Get(), SelectionText.Get(), LOCALE_USER_DEFAULT, 0) == VARCMP_EQ) return;
    SelectionText = std::move(text);
    OnSelectionChanged();
}

HRESULT IQvxSingleDataSelectionControlImpl::CreateSelectionSinks()
{
    Sink1 = CreateSink<CSink1>(static_cast<CDataSelectionNotificationsReceiver*>(this));
    Sink2 = CreateSink<CSink2>(static_cast<CDataSelectionNotifications2Receiver*>(this));
    Sink3 = CreateSink<CSink3>(static_cast<CDataSelectionNotifications3Receiver*>(this));
    if (!Sink1 || !Sink2 || !Sink3) return E_OUTOFMEMORY;
    // The control stays until it has acted on the selection's news.
    IUnknown* self = static_cast<IQvxSingleDataSelectionControl*>(this);
    Sink1->HoldDuringCalls(self);
    Sink2->HoldDuringCalls(self);
    Sink3->HoldDuringCalls(self);
    return S_OK;
}

void IQvxSingleDataSelectionControlImpl::CloseSelectionSinks()
{
    CloseSink(Sink3, Selection3);
    CloseSink(Sink2, Selection2);
    CloseSink(Sink1, Selection);
    Selection3 = nullptr;
    Selection2 = nullptr;
    Selection = nullptr;
}

void IQvxSingleDataSelectionControlImpl::Unadvise()
{
    if (Sink3) Sink3->Unadvise(Selection3);
    if (Sink2) Sink2->Unadvise(Selection2);
    if (Sink1) Sink1->Unadvise(Selection);
    Selection3 = nullptr;
    Selection2 = nullptr;
    Selection = nullptr;
}

bool IQvxSingleDataSelectionControlImpl::ReadIsSecondary(IQvxDataSelection2* selection)
{
    VARIANT_BOOL secondary = VARIANT_FALSE;
    // Only VARIANT_TRUE counts as true.
    return selection && SUCCEEDED(selection->GetIsSecondary(&secondary)) && secondary == VARIANT_TRUE;
}

CBstr IQvxSingleDataSelectionControlImpl::ReadText(IQvxDataSelection3* selection)
{
    CBstr text;
    if (selection) selection->GetSelectionText(text.Out());
    return text;
}
