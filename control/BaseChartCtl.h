#pragma once
// What any chart of this family is beside its OLE surface: the root region, which owns the task
// item and the three children of the root (graph, cursor values panel, divider), lays them out and
// paints them; the host attachment and the receivers of the host root's and the task's
// notifications; the control's colours; and the operations through which regions and data items
// reach the chart.
#include <windows.h>
#include <memory>
#include <set>
#include <string>
#include "config/ChannelKey.h"
#include "control/ChartDrawInfo.h"
#include "items/ChartOwner.h"
#include "control/ChartRegionBase.h"
#include "com/ComPtr.h"
#include "control/ControlBorderHelper.h"
#include "control/ControlColors.h"
#include "Interfaces.h"
#include "config/OrvidNotifications.h"
#include "control/QvxControlBase.h"
#include "control/RootLayout.h"
#include "config/TaskNotifications.h"

class CChannelDataItem;
class CDataItemBase;
class CDragManager;
class CFlashingTraceManager;
class CFragileManager;
class CRTCCursorsRegion;
class CRTCGraphRegion;
class CRTCTaskDataItem;
struct CRTCTimeSettings;
class CResizeCallback;
class CResizeRegion;

class CBaseChartCtl : public CChartRegionBase,
                      public CQvxControlBase,
                      public COrvidNotifications4Receiver,
                      public CTaskNotifications6Receiver,
                      public CChannelPropertyFactoryNotifications2Receiver,
                      public CEventPropertyFactoryNotificationsReceiver,
                      public CGroupFactoryNotificationsReceiver,
                      // TODO: IQvxChannelOrderingProperties and the context menu (channel ordering properties, commands).
                      public CControlColors,
                      public CChartDrawOwner,
                      public CChartOwner
{
public:
    // `windowRef` is the control's cell of the window handle; `border` the control's border, which
    // the root's rectangle lies within.
    CBaseChartCtl(const HWND* windowRef, CControlBorderHelper& border);
    // Deletes what DestroyChart has not deleted yet.
    ~CBaseChartCtl() override;

    // --- CChartRegionBase ---
    // The control's area goes to the border; what the border leaves is the root's rectangle.
    void SetBounds(const RECT& bounds) override;
    // Background, border, graph, cursor values panel if shown, and the divider on top.
    void Draw(CChartDrawInfo& info) override;
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    // A watched channel that goes leaves the watch.
    void OnDataItemRemoved(CDataItemBase* item) override;
    // Shares the root's rectangle between the graph, the panel and the divider.
    void Recalculate(CChartDrawInfo& info) override;

    // --- what the regions see of the chart ---
    // The reserved operations keep the places of operations that this chart has no use for, so
    // that the order stays that of the chart family; nothing calls them.
    virtual CFragileManager* GetFragileManager();
    virtual CDragManager* GetDragManager();
    virtual CRTCTaskDataItem* GetTaskDataItem();
    // The item that the segment regions listen to besides the task: none in this chart.
    virtual CDataItemBase* GetSegmentSource();
    IQvxDistanceSource* GetDistanceSource() override;
    // The host root and this chart's channel property factory, borrowed; null without a host and
    // before the chart has its factory.
    IQvxOrvid* GetOrvid() override;
    IQvxPropertyFactory* GetChannelFactory() override;
    virtual BOOL GetShowCursorValues();
    virtual BOOL GetAutoSizeCursorValues();
    virtual int ReservedOperation1();
    virtual int ReservedOperation2();
    virtual BOOL GetShowAlarms();
    OLE_COLOR GetActiveTraceGridColour() override;
    // The font property object, borrowed; null before the control has a font.
    IUnknown* GetFontObject() override = 0;
    virtual const std::set<std::wstring>& GetConfiguredEventNames();
    // In the order of ChannelNameLess.
    virtual const CChannelNameSet& GetConfiguredChannelNames();
    // The active channel or trace may have changed: the host hears of it.
    void FireActiveChanged() override = 0;
    // The container's ambient "PrintAllAxes", read afresh.
    virtual BOOL GetPrintAllAxes() = 0;
    virtual void ReservedOperation3();
    virtual void ReservedOperation4();

    // The local pause command: a chart whose host runs stops or runs again on its own; ignored
    // while the host pauses.
    void ToggleLocalPause();

    // --- CChartOwner: what the data items see of the chart ---
    const HWND* GetWindowCell() const override { return WindowRef; }
    int32_t GetTraceGradation() override { return TraceGradation; }
    // Through the control's IQvxSingleDataSelectionControl.
    HRESULT GetSingleSelection(IQvxDataSelection** selection) override;

    // --- the control's persistence state, which its OLE side keeps (MarkModified is the host
    // attachment's) ---
    // Sets the requires-save flag alone.
    virtual void SetRequiresSave() = 0;

    // --- IQvxControl2, IQvxControl3: the configured names ---
    STDMETHODIMP GetChannelNames(IQvxDataNames** names) override;
    // A list of no name or of one; E_UNEXPECTED without a task item.
    STDMETHODIMP GetActiveChannelName(IQvxDataNames** names) override;
    STDMETHODIMP GetEventNames(IQvxDataNames** names) override;

    // --- CQvxControlBase ---
    // Subscribes to the host root, then gives the factories their parents and fetches the
    // distance source.
    HRESULT OnHostAttached() override;
    // Also lets the factories' parents and the distance source go.
    void OnHostDetached() override;
    // The task item takes the task with a new zoom stack; its selections, cursor and control
    // mode are stale.
    void OnTaskAttached(IQvxTask* oldTask) override;
    void OnGroupFactoryChanged() override;
    bool IsChannelSelected(const std::wstring& name) override;
    bool IsEventSelected(const std::wstring& name) override;

    // --- COrvidNotifications4Receiver: the host root ---
    void OnChannelDefaultsChanged(IQvxOrvid* host, IQvxPropertyFactory* factory) override;
    void OnSelectionsChanged(IQvxOrvid* host) override;
    void OnGroupDefaultsChanged(IQvxOrvid* host, IQvxGroupFactory* factory) override;
    // The task goes first, then the host.
    void OnHostGoingAway(IQvxOrvid* host) override;
    void OnTimeFormatChanged(IQvxOrvid* host) override;
    void OnEventPrioritiesChanged(IQvxOrvid* host) override;
    void OnEventDefaultsChanged(IQvxOrvid* host, IQvxEventPropertyFactory* factory) override;
    void OnTimeDigitsChanged(IQvxOrvid* host) override;

    // --- CTaskNotifications6Receiver: the task ---
    void OnCurrentSelectionChanged(IQvxTask* task) override;
    void OnSelectionsChanged(IQvxTask* task) override;
    void OnTaskGoingAway(IQvxTask* task) override;
    void OnRunningChanged(IQvxTask* task) override;
    void OnCursorChanged(IQvxTask* task, qvx::time time) override;

    // --- CChartDrawOwner ---
    OLE_COLOR GetBackColor() override { return BackColor; }
    OLE_COLOR GetForeColor() override { return ForeColor; }
    OLE_COLOR GetGridColor() override { return GridColor; }
    COLORREF GetSchemeColour(int index) override { return GetColour(index); }

protected:
    // The first part of the control's construction: the task item, the zoom stack, the root's
    // children, and the root among the task's listeners. A failure leaves nothing attached.
    // `settings` points at the control's time settings, which the task item reads.
    HRESULT CreateChart(const CRTCTimeSettings& settings, CResizeCallback& resizeCallback);
    // The task item lets go of its zoom stack.
    void ReleaseChart();
    // The children in the order of their teardown, then the root leaves the task item and the item
    // goes. Safe to call twice.
    void DestroyChart();

    // Listens to the channels of the task's ordering, and to no others.
    void WatchChannels();
    // The scroll bars and the graph's cursors take the control mode's answers.
    void ApplyControlMode();

    // The border colour that paints: the property, or the scheme's border colour when unset.
    COLORREF GetBorderPaintColour();
    // The whole window, without erasing; nothing before the window exists.
    void InvalidateWindow();

    CControlBorderHelper& Border;
    // Stock properties that feed the border.
    int32_t Appearance = 0;
    int32_t BorderStyle = 0;
    OLE_COLOR ActiveTraceGridColour = CControlColors::Unset;
    uint32_t ShowCursorValues = 1;
    uint32_t AutoSizeCursorValues = 1;
    std::unique_ptr<CRTCTaskDataItem> TaskItem;
    // The channels of the task's ordering, which the root listens to for changes of the panel's
    // width.
    std::set<CChannelDataItem*> WatchedChannels;
    // The control mode changed; the scroll bars and the graph's cursors follow it at the next paint.
    bool ControlModeStale = true;
    std::unique_ptr<CRTCGraphRegion> GraphRegion;
    std::unique_ptr<CRTCCursorsRegion> CursorsRegion;
    std::unique_ptr<CResizeRegion> ResizeRegion;
    // The interaction state: the running drag, the running fragile mode, the flashing trace.
    std::unique_ptr<CDragManager> DragManager;
    std::unique_ptr<CFragileManager> FragileManager;
    std::unique_ptr<CFlashingTraceManager> FlashManager;
    // SplitFraction and VerticalSplitInches, and how the root is shared.
    CRootLayout Layout;
    // Fetched from the host when it attaches.
    CComPtr<IQvxDistanceSource> DistanceSource;
    // The control's wish to run: false during a local pause. A host that runs again sets it.
    uint32_t Running = 1;
};
