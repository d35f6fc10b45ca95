#pragma once
// The control's choice of one data selection of its task: the real-time chart shows exactly
// one. The host (or the layout) names it by index; the object resolves the index to the host's
// selection on first need, follows the selection's secondary flag and text, and tells the
// control whenever the choice changes.
#include <windows.h>
#include "com/AutomationTypes.h"
#include "com/ComPtr.h"
#include "config/DataSelectionNotifications.h"
#include "Interfaces.h"

class IQvxSingleDataSelectionControlImpl : public IQvxSingleDataSelectionControl,
                                           public CDataSelectionNotifications3Receiver
{
public:
    // No selection chosen: the task's default is taken at the first need.
    static constexpr ULONG NoSelection = 0xFFFFFFFF;

    // --- IQvxSingleDataSelectionControl ---
    STDMETHODIMP SetSelectionIndex(long index) override;
    STDMETHODIMP GetSelection(IQvxDataSelection** selection) override;

    // Chooses the host's selection at the 1-based `index` of the task's list; NoSelection asks
    // the task for its default. E_FAIL without a task.
    HRESULT SelectByIndex(ULONG index);
    // Follows `selection` (null for none), and tells the control unless the choice came from the
    // layout.
    void SetSelection(IQvxDataSelection* selection);
    // The chosen selection, resolved first; null for a secondary one, which the chart does not
    // show.
    IQvxDataSelection* ResolveSelection();

    ULONG GetSelectedIndex() const noexcept { return SelectedIndex; }
    // The layout's index, used at the next resolve.
    void SetSelectedIndex(ULONG index) noexcept { SelectedIndex = index; }
    bool IsSecondarySelection() const noexcept { return IsSecondary != 0; }
    const CBstr& GetSelectionText() const noexcept { return SelectionText; }

    // --- CDataSelectionNotifications3Receiver ---
    void OnSelectionGoingAway(IQvxDataSelection* selection) override;
    void OnChannelsChanged(IQvxDataSelection* selection) override;
    void OnSelectionTextChanged(IQvxDataSelection* selection) override;

protected:
    // Makes the three sinks; the control calls this from its construction.
    HRESULT CreateSelectionSinks();
    // Lets the selection go and cuts the sinks off; the control calls this from its teardown.
    void CloseSelectionSinks();

    virtual ~IQvxSingleDataSelectionControlImpl() = default;
    // The choice changed.
    virtual void OnSelectionChanged() = 0;
    // The attached task, with a reference; null without one.
    virtual HRESULT GetSelectionTask(IQvxTask** task) = 0;

private:
    using CSink1 = CDataSelectionNotificationsSink<CBaseSingleSourceSink<IQvxDataSelectionNotifications>>;
    using CSink2 = CDataSelectionNotifications2Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications2>>;
    using CSink3 = CDataSelectionNotifications3Sink<CBaseSingleSourceSink<IQvxDataSelectionNotifications3>>;

    void Unadvise();
    static bool ReadIsSecondary(IQvxDataSelection2* selection);
    static CBstr ReadText(IQvxDataSelection3* selection);

    CComPtr<IQvxDataSelection> Selection;
    CComPtr<IQvxDataSelection2> Selection2;
    CComPtr<IQvxDataSelection3> Selection3;
    CComPtr<CSink1> Sink1;
    CComPtr<CSink2> Sink2;
    CComPtr<CSink3> Sink3;
    ULONG SelectedIndex = NoSelection;
    BYTE IsSecondary = 0;
    CBstr SelectionText;
};
