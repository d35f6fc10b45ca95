#pragma once
// The time axis under the graph: the base line, minor and major ticks, their labels, and on the
// last text line the cursor's time. It also works out the ticks that the graph's vertical grid
// lines stand on, and, while offsets are shown, holds the offset label at its left.
//
// Ticks are worked out anew at each paint, so a change of range, font, width, time format or
// digits needs no more than a repaint. A cursor move redraws the label alone, straight on the
// window.
#include <string>
#include "control/ChartRegionBase.h"
#include "Interfaces.h"
#include "scales/AxisTicks.h"

class CGraphRegion;
class CTaskDataItem;
class CRTCTaskDataItem;

class CXAxisRegion : public CChartRegionBase
{
public:
    // The region listens to `task` until it goes away or the region does.
    CXAxisRegion(CGraphRegion& graph, CTaskDataItem* task);
    ~CXAxisRegion() override;

    void Draw(CChartDrawInfo& info) override;
    // Any change but the cursor's repaints the axis; the cursor alone redraws the label.
    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;

    // The text of the cursor label; null for none.
    virtual const wchar_t* GetCursorText();
    // The times at the ends of the axis; both stay as they came in when there are none.
    virtual void GetAxisTimeRange(qvx::time& first, qvx::time& last);

    // Ticks of the time axis, times in seconds; E_FAIL for an empty range or no room for a label,
    // and then nothing is drawn.
    HRESULT GetTimeTicks(CChartDrawInfo& info, CAxisTicks& ticks);
    // Ticks of the distance axis; none yet.
    HRESULT GetDistanceTicks(CChartDrawInfo& info, CAxisTicks& ticks);
    // The cursor label, right-aligned on the last line; it sets SelectionLabelRect.
    void DrawCursorLabel(CChartDrawInfo& info);
    // Paints the label again on the window at once, over its old place.
    void RefreshLabel();
    // The offset label at the left of the last line: the time field framed with bit 1 of
    // `flags`, the value field with bit 2; a zero offset without its bit is left out.
    void DrawOffsetLabel(CChartDrawInfo& info, qvx::time timeOffset, double valueOffset, DWORD flags);

    CGraphRegion& Graph;
    // Null once the task has gone.
    CTaskDataItem* Task;
    // Where the cursor label stands; empty until the first paint.
    RECT SelectionLabelRect{};

protected:
    // The base line, the minor and major ticks and the labels of `ticks`.
    void DrawTicks(CChartDrawInfo& info, const CAxisTicks& ticks);
    // The text of a major tick's label.
    std::wstring LabelText(const CAxisTicks& ticks, double value);
    // The host's digits as the labels read them: negative for its largest values.
    long TimeDigits() const;
    // Copies `text` out of a formatter's static buffer into CursorText; null stays null.
    const wchar_t* KeepCursorText(const wchar_t* text);
    std::wstring CursorText;
};

// The axis of the real-time chart: times count from the first data of the run, and while running
// the label shows the time elapsed.
class CRTCXAxisRegion : public CXAxisRegion
{
public:
    // `task` is the real-time task item; any other kind of task shows no times.
    CRTCXAxisRegion(CGraphRegion& graph, CTaskDataItem* task);

    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;
    const wchar_t* GetCursorText() override;
    void GetAxisTimeRange(qvx::time& first, qvx::time& last) override;

    // The same item as Task; null once it has gone.
    CRTCTaskDataItem* RealTimeTask;
};
