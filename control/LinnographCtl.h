#pragma once
// The real-time chart control, the one object that a host embeds: its automation interface, its
// OLE control surface with the window and the paint path, and the properties that the control
// itself holds. The chart's regions and data items hang below its root (CBaseChartCtl).
#include <windows.h>
#include <ocidl.h>
#include "control/BaseChartCtl.h"
#include "control/ChannelConfig.h"
#include "com/ComObject.h"
#include "control/ControlBorderHelper.h"
#include "com/DispatchImpl.h"
#include "control/GdiHandle.h"
#include "Linnograph.h"
#include "control/NotificationPoints.h"
#include "control/OleControl.h"
#include "com/ProvideClassInfoImpl.h"
#include "control/ResizeCallback.h"
#include "control/SingleDataSelectionControl.h"
#include "Interfaces.h"

class CGraphRegion;

class CLinnographCtl : public CDispatchImpl<IQvxLinnographCtl4>,
                       public COleControl,
                       public ISpecifyPropertyPages,
                       public CControlNotificationPoints,
                       public IQvx1DChannelConfigImpl,
                       // TODO: the events configuration.
                       public CBaseChartCtl,
                       public IQvxSingleDataSelectionControlImpl,
                       public ICategorizeProperties,
                       public CResizeCallback,
                       // TODO: the accelerator state and the drop target, beside the border.
                       public CControlBorderHelper,
                       public CSupportErrorInfoImpl<&IID_IQvxLinnographCtl, &IID_IQvxLinnographCtl2,
                                                    &IID_IQvxLinnographCtl3, &IID_IQvxLinnographCtl4>,
                       public CProvideClassInfo2Impl<&CLSID_LinnographCtl, &DIID__IQvxLinnographCtlEvents>
{
public:
    QVX_BEGIN_INTERFACES(CLinnographCtl)
        QVX_INTERFACE(CLinnographCtl, IQvxLinnographCtl),
        QVX_INTERFACE(CLinnographCtl, IQvxLinnographCtl2),
        QVX_INTERFACE(CLinnographCtl, IQvxLinnographCtl3),
        QVX_INTERFACE(CLinnographCtl, IQvxLinnographCtl4),
        QVX_INTERFACE_VIA(CLinnographCtl, IQvxControl, IQvxControl3),
        QVX_INTERFACE_VIA(CLinnographCtl, IQvxControl2, IQvxControl3),
        QVX_INTERFACE(CLinnographCtl, IQvxControl3),
        QVX_INTERFACE(CLinnographCtl, IQvxNotifications),
        QVX_INTERFACE_VIA(CLinnographCtl, IQvx1DChannelConfig, IQvx1DChannelConfig2),
        QVX_INTERFACE(CLinnographCtl, IQvx1DChannelConfig2),
        // TODO: IQvxChannelOrderingProperties (channel ordering), IQvxEventsConfig (events configuration).
        QVX_INTERFACE(CLinnographCtl, ISupportErrorInfo),
        QVX_INTERFACE(CLinnographCtl, IDispatch),
        QVX_INTERFACE(CLinnographCtl, IViewObjectEx),
        QVX_INTERFACE_VIA(CLinnographCtl, IViewObject2, IViewObjectEx),
        QVX_INTERFACE_VIA(CLinnographCtl, IViewObject, IViewObjectEx),
        QVX_INTERFACE(CLinnographCtl, IOleInPlaceObjectWindowless),
        QVX_INTERFACE_VIA(CLinnographCtl, IOleInPlaceObject, IOleInPlaceObjectWindowless),
        QVX_INTERFACE_VIA(CLinnographCtl, IOleWindow, IOleInPlaceObjectWindowless),
        QVX_INTERFACE(CLinnographCtl, IOleInPlaceActiveObject),
        QVX_INTERFACE(CLinnographCtl, IOleControl),
        QVX_INTERFACE(CLinnographCtl, IOleObject),
        QVX_INTERFACE(CLinnographCtl, IPersistStreamInit),
        QVX_INTERFACE_VIA(CLinnographCtl, IPersist, IPersistStreamInit),
        QVX_INTERFACE(CLinnographCtl, IConnectionPointContainer),
        QVX_INTERFACE(CLinnographCtl, ISpecifyPropertyPages),
        QVX_INTERFACE(CLinnographCtl, IQuickActivate),
        QVX_INTERFACE(CLinnographCtl, IPersistStorage),
        QVX_INTERFACE(CLinnographCtl, IDataObject),
        // TODO: IDropTarget, with channel drag and drop.
        QVX_INTERFACE_VIA(CLinnographCtl, IProvideClassInfo, IProvideClassInfo2),
        QVX_INTERFACE(CLinnographCtl, IProvideClassInfo2),
        QVX_INTERFACE(CLinnographCtl, ICategorizeProperties),
        QVX_INTERFACE(CLinnographCtl, IQvxSingleDataSelectionControl),
    QVX_END_INTERFACES()

    CLinnographCtl();
    // Deletes the chart's regions and task item, then the back buffer; the border's theme library
    // goes last, with its base.
    ~CLinnographCtl() override;

    HRESULT FinalConstruct();
    void FinalRelease();

    // --- IQvxLinnographCtl ---
    STDMETHODIMP put_Appearance(LONG appearance) override;
    STDMETHODIMP get_Appearance(LONG* appearance) override;
    STDMETHODIMP put_BorderStyle(LONG style) override;
    STDMETHODIMP get_BorderStyle(LONG* style) override;
    STDMETHODIMP put_BorderColor(OLE_COLOR colour) override;
    STDMETHODIMP get_BorderColor(OLE_COLOR* colour) override;
    STDMETHODIMP put_TabStop(VARIANT_BOOL tabStop) override;
    STDMETHODIMP get_TabStop(VARIANT_BOOL* tabStop) override;
    STDMETHODIMP put_Caption(BSTR caption) override;
    STDMETHODIMP get_Caption(BSTR* caption) override;
    STDMETHODIMP put_Enabled(VARIANT_BOOL enabled) override;
    STDMETHODIMP get_Enabled(VARIANT_BOOL* enabled) override;
    STDMETHODIMP put_BackColor(OLE_COLOR colour) override;
    STDMETHODIMP get_BackColor(OLE_COLOR* colour) override;
    STDMETHODIMP put_ForeColor(OLE_COLOR colour) override;
    STDMETHODIMP get_ForeColor(OLE_COLOR* colour) override;
    STDMETHODIMP put_Font(IFontDisp* font) override;
    STDMETHODIMP putref_Font(IFontDisp* font) override;
    STDMETHODIMP get_Font(IFontDisp** font) override;
    STDMETHODIMP put_GridColor(OLE_COLOR colour) override;
    STDMETHODIMP get_GridColor(OLE_COLOR* colour) override;
    STDMETHODIMP put_ShowGrid(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowGrid(VARIANT_BOOL* show) override;
    STDMETHODIMP put_TraceStyle(::QvxTraceStyle style) override;
    STDMETHODIMP get_TraceStyle(::QvxTraceStyle* style) override;
    STDMETHODIMP put_PointSize(short tenthsOfPoint) override;
    STDMETHODIMP get_PointSize(short* tenthsOfPoint) override;
    STDMETHODIMP put_ShowCursorValues(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowCursorValues(VARIANT_BOOL* show) override;
    STDMETHODIMP put_AutoSizeCursorValues(VARIANT_BOOL autoSize) override;
    STDMETHODIMP get_AutoSizeCursorValues(VARIANT_BOOL* autoSize) override;
    STDMETHODIMP put_VerticalSplitPos(double inches) override;
    STDMETHODIMP get_VerticalSplitPos(double* inches) override;
    STDMETHODIMP put_Tiled(VARIANT_BOOL tiled) override;
    STDMETHODIMP get_Tiled(VARIANT_BOOL* tiled) override;
    STDMETHODIMP put_DataTimeSpan(INT64 ticks) override;
    STDMETHODIMP get_DataTimeSpan(INT64* ticks) override;
    STDMETHODIMP put_CursorValuesWidth(::CursorValueWidth width) override;
    STDMETHODIMP get_CursorValuesWidth(::CursorValueWidth* width) override;
    STDMETHODIMP put_CursorValuesBase(::CursorValueBase base) override;
    STDMETHODIMP get_CursorValuesBase(::CursorValueBase* base) override;
    // --- IQvxLinnographCtl2 ---
    STDMETHODIMP put_ShowActiveYAxis(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowActiveYAxis(VARIANT_BOOL* show) override;
    // --- IQvxLinnographCtl3 ---
    STDMETHODIMP put_ShowAlarms(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowAlarms(VARIANT_BOOL* show) override;
    STDMETHODIMP put_AlarmConditionsType(::AlarmConditionsType type) override;
    STDMETHODIMP get_AlarmConditionsType(::AlarmConditionsType* type) override;
    STDMETHODIMP put_EventColorScheme(::EventColorScheme scheme) override;
    STDMETHODIMP get_EventColorScheme(::EventColorScheme* scheme) override;
    STDMETHODIMP put_FixedGrid(VARIANT_BOOL fixed) override;
    STDMETHODIMP get_FixedGrid(VARIANT_BOOL* fixed) override;
    STDMETHODIMP put_ShowYAxisMarksWhenTiled(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowYAxisMarksWhenTiled(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ShowGridActiveTraceOnly(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowGridActiveTraceOnly(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ShowYAxisGrid(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowYAxisGrid(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ShowYAxisGridMinorLines(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowYAxisGridMinorLines(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ShowXAxisGrid(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowXAxisGrid(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ShowXAxisGridMinorLines(VARIANT_BOOL show) override;
    STDMETHODIMP get_ShowXAxisGridMinorLines(VARIANT_BOOL* show) override;
    STDMETHODIMP put_ActiveTraceGridColor(OLE_COLOR colour) override;
    STDMETHODIMP get_ActiveTraceGridColor(OLE_COLOR* colour) override;
    // --- IQvxLinnographCtl4 ---
    STDMETHODIMP put_HistoricDataTimeSpan(INT64 ticks) override;
    STDMETHODIMP get_HistoricDataTimeSpan(INT64* ticks) override;

    // --- IPersistStreamInit ---
    STDMETHODIMP Load(IStream* stream) override;
    STDMETHODIMP Save(IStream* stream, BOOL clearDirty) override;
    STDMETHODIMP GetSizeMax(ULARGE_INTEGER* size) override;
    STDMETHODIMP InitNew() override;
    // --- IPersistStorage ---
    STDMETHODIMP InitNew(IStorage* storage) override;
    STDMETHODIMP Load(IStorage* storage) override;
    STDMETHODIMP Save(IStorage* storage, BOOL sameAsLoad) override;

    // --- IOleControl ---
    STDMETHODIMP OnAmbientPropertyChange(DISPID id) override;

    // --- ICategorizeProperties ---
    STDMETHODIMP MapPropertyToCategory(DISPID id, PROPCAT* category) override;
    STDMETHODIMP GetCategoryName(PROPCAT category, LCID, BSTR* name) override;

    // --- ISpecifyPropertyPages ---
    STDMETHODIMP GetPages(CAUUID* pages) override;

    // --- CControlColors ---
    COLORREF GetColour(int index) override;

    // --- CBaseChartCtl ---
    IUnknown* GetFontObject() override;
    // To the sinks of both control notification points.
    void FireActiveChanged() override;
    BOOL GetPrintAllAxes() override;
    void MarkModified() override;
    void SetRequiresSave() override;

    // --- CQvxControlBase ---
    // After the chart's part: the channel configuration's groups, then a repaint, and the host
    // hears that the control is attached.
    HRESULT OnHostAttached() override;
    // The configurations forget the task; then a repaint, and the host hears of the new task.
    void OnTaskAttached(IQvxTask* oldTask) override;
    // The channel configuration follows the host's groups: found again by name after the host
    // or its group factory changed, kept by name alone while there is none.
    void OnHostDetached() override;
    void OnGroupFactoryChanged() override;
    const CChannelNameSet& GetConfiguredChannelNames() override { return GetSelectedChannels(); }
    // --- IQvx1DChannelConfigImpl ---
    void OnNamesChanged() override;
    // The task's ordering, the task item and the root follow; the host hears of it.
    void OnChannelSelectionChanged() override;
    void OnGroupDetailChanged() override;
    // --- IQvxSingleDataSelectionControlImpl ---
    void OnSelectionChanged() override;
    HRESULT GetSelectionTask(IQvxTask** task) override;

    // --- CResizeCallback ---
    void GetResizeRange(CResizeRegion& region, int& lowest, int& highest) override;
    void OnResizeDone(CResizeRegion& region) override;

    // --- COleControl ---
    // The control's message chain: the frame's own messages, then the regions, then the frame's
    // handlers; the first that takes a message ends the walk.
    bool ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                              DWORD mapId) override;
    // The paint path: lays the chart out for the target, paints it through the back buffer (or
    // straight onto paper and into metafiles) and returns to the screen's layout afterwards.
    HRESULT OnDraw(const DrawDescription& draw) override;
    void OnWindowCreated() override;
    // The chart's keys first: a key whose command a handler takes goes no further; the window
    // and then the container have the others.
    STDMETHODIMP TranslateAccelerator(LPMSG message) override;

protected:
    // The "ActiveTraceGridColor" of a new control.
    static constexpr OLE_COLOR DefaultActiveTraceGridColour = 0xD0D0D0;

    // The border keeps its own window handle and stock values; the control's are these.
    using COleControl::Window;
    using CBaseChartCtl::Appearance;
    using CBaseChartCtl::BorderStyle;

    // The double-buffer surface, kept between paints while the size stays.
    HDC PrepareBackBuffer(HDC target, const RECT& bounds);
    void DestroyBackBuffer();

    CDeviceContext BackBufferDC;
    CBitmapHandle BackBufferBitmap;
    HGDIOBJ BackBufferOldBitmap = nullptr;
    SIZE BackBufferSize{};
    // Paints under way: a paint inside a paint (a lazy read that updates the window) draws into
    // a buffer of its own, since the outer one still draws into the kept buffer.
    int PaintDepth = 0;
    // Left and top stay 0; right and bottom are the window's size.
    RECT ClientRect{};
    struct CDestroyAcceleratorTable
    {
        void operator()(HACCEL table) const noexcept { DestroyAcceleratorTable(table); }
    };
    // The chart's keys and their commands.
    static HACCEL CreateAccelerators();
    CGdiHandle<HACCEL, CDestroyAcceleratorTable> Accelerators{CreateAccelerators()};
    // Cleared by a command of a key that no handler took, so that the key goes on.
    BOOL AcceleratorHandled = FALSE;

private:
    HRESULT InitialiseNew();
    // The dispatch id of the ambient "PrintAllAxes", from the container.
    HRESULT GetPrintAllAxesId(DISPID& id);
    // A failure for an automation client: with error information.
    HRESULT Fail(HRESULT hr);
    HRESULT PutFont(IFontDisp* font, bool byReference);
    HRESULT PutOwnColour(OLE_COLOR& field, OLE_COLOR colour, DISPID id);
    HRESULT GetFlag(uint32_t field, VARIANT_BOOL* value);
    // A flag of the graph: stored when it changes, with `dirtyBits` for the graph's layout, and
    // the graph repainted.
    HRESULT PutGraphFlag(BOOL CGraphRegion::*field, VARIANT_BOOL value, DWORD dirtyBits = 0);
    HRESULT GetGraphFlag(BOOL CGraphRegion::*field, VARIANT_BOOL* value);
    HRESULT GetColourProperty(OLE_COLOR field, OLE_COLOR* value);

    // The panel comes, goes or changes width: the root is laid out anew at the next paint.
    void RelayoutChart();
    // Flags the task item with a change of a time span; the listeners see TaskTimeSpanChanged, and
    // the item does not keep it.
    void NotifyTimeSpanChanged();

    // Fields in the order of the frame's state; Appearance, BorderStyle, ActiveTraceGridColour,
    // ShowCursorValues, AutoSizeCursorValues and the split lie with the root.
    CBstr Caption;
    uint32_t TabStop = 1;
    uint32_t Enabled = 1;
    CComPtr<IFontDisp> Font;
    qvx::time DataTimeSpan = 200'000'000;
    qvx::time HistoricDataTimeSpan = 3'000'000'000;
    uint32_t Initialised = 0;
};
