#pragma once
// Trace regions: one trace (a channel in a data selection) drawn into its channel's band. The
// line traces read the host's samples in place, fold them by pixel column and keep the result
// as polylines in device pixels; new samples extend them, and a view that moved shifts them by
// the whole columns its start crossed on a grid of columns from time 0, so that each sample is
// read once however long the chart runs.
#include <windows.h>
#include <climits>
#include "control/ChartRegionBase.h"
#include "Interfaces.h"
#include "regions/PlotLayer.h"
#include "scales/ColumnFolder.h"

class CChannelDataItem;
class CChartDrawInfo;
class CDataSelectionDataItem;
class CRecordWalker;
class CTaskDataItem;
class CTraceDataItem;

class CTraceRegion : public CChartRegionBase
{
public:
    // The colour that stands for the trace item's own.
    static constexpr COLORREF TraceOwnColour = 0xFF000000;
    static constexpr DWORD DirtyDistanceSource = 1;
    static constexpr DWORD DirtyScale = 2;
    static constexpr DWORD DirtyViewOrigin = 4;
    static constexpr DWORD DirtyUnit = 8;

    // Listens to the trace, its channel, its selection and the task, each until it goes.
    CTraceRegion(const HWND* windowRef, CTraceDataItem* trace);
    ~CTraceRegion() override;

    // Throws the stored points away; the next Draw builds them again.
    virtual void ClearPoints() {}
    // New or changed samples, or a view that moved with the live data.
    virtual void OnDataChanged();
    // The channel's scale may have changed: points built for another scale go.
    virtual void OnScaleChanged();
    // The view moved or changed its span (a scroll, a zoom, the selection's start): the base
    // throws its points away; a line trace keeps those that a shift by whole columns fits.
    virtual void OnViewChanged();

    // Draws the trace if it is visible: in `colour`, or in the trace's own for TraceOwnColour;
    // inverted while a flashing trace is in its off phase.
    void DrawWithColour(CChartDrawInfo& info, COLORREF colour);
    // The same trace as a part of the graph's scene, built and ready to paint. Points come with
    // their own region: until then a trace of another kind adds nothing.
    void AddToScene(CChartDrawInfo& info, COLORREF colour, CPlotScene& scene);

    void OnDataItemChanged(CDataItemBase* item, DWORD flags) override;
    void OnDataItemRemoved(CDataItemBase* item) override;
    void Recalculate(CChartDrawInfo& info) override;

    CTraceDataItem* Trace;
    CChannelDataItem* Channel;
    CDataSelectionDataItem* Selection;
    CTaskDataItem* Task;
    COLORREF Colour = 0;
    double LastScaleMinimum = 0.0;
    double LastScaleMaximum = 0.0;

protected:
    // All four items are there.
    bool Attached() const noexcept { return Trace && Channel && Selection && Task; }
    // Takes the colour to draw in; false when the trace is hidden.
    bool TakeColour(COLORREF colour);
    virtual void AddBuiltToScene(CChartDrawInfo&, CPlotScene&) {}
    // The last DataChanged came from the task: the view moved rather than the samples.
    bool ViewMoved = false;
};

// A trace drawn as lines through the folded columns. Derived classes give the folding table.
class CLineTraceRegion : public CTraceRegion
{
public:
    CLineTraceRegion(const HWND* windowRef, CTraceDataItem* trace);

    void ClearPoints() override;
    void OnDataChanged() override;
    void OnViewChanged() override;
    void Draw(CChartDrawInfo& info) override;

    // Fits the stored points to the view and reads the samples that they lack.
    virtual void BuildPolylines();
    virtual void PaintPolylines(CChartDrawInfo& info);
    // Recalculates and builds what the notifications asked for.
    void Prepare(CChartDrawInfo& info);
    // Paints the stored lines that reach `columns` (in column order), within `bounds` and left
    // of where the data end.
    void PaintColumns(HDC dc, COLORREF colour, int width, const RECT& bounds, const std::vector<CColumns>& columns) const;
    // The width of a trace's pen on the device of `info`.
    static int PenWidth(CChartDrawInfo& info);

    // What changed since the retained layer last painted the trace: rebuilt from nothing, moved
    // left by whole columns, or changed between two columns (ChangedFrom LONG_MAX: nowhere).
    void MarkPainted();
    bool RebuiltSincePaint = true;
    LONG ShiftedColumns = 0;
    LONG ChangedFrom = LONG_MAX;
    LONG ChangedTo = LONG_MIN;
    // Whether the layer's picture of the trace had no points.
    bool PaintedEmpty = true;
    // One sample, mapped to pixels, into the folder.
    virtual void AddSample(qvx::time time, double x, double y) = 0;

    // The records, as the folder keeps them.
    const std::vector<TracePolyline>& GetPolylines() const noexcept { return Folder.Polylines; }

    BOOL NeedBuild = TRUE;
    // The x of the newest sample, or the right of Bounds: painting stops there.
    LONG DataRight = 32767;
    // The column of the view start on the grid of columns from time 0, and the span, that the
    // stored pixels belong to; Span 0 when nothing is stored.
    __int128 BuiltColumn = 0;
    qvx::time BuiltSpan = 0;
    // The time of the last sample read, absolute; where the next build goes on.
    qvx::time ReadTime = 0;
    // Samples read from the host since the region was made.
    long long SamplesRead = 0;

protected:
    // The mapping of the current view (y = A * value + B): false when there is nothing to draw.
    struct CMapping
    {
        qvx::time Start;
        qvx::time Span;
        qvx::time End;
        LONG Left;
        LONG Width;
        double A;
        double B;
        // Columns stand on one grid from time 0, Span / Width ticks each, wherever the view
        // starts: Start lies in the grid's column Column, Offset ticks (times Width) into it.
        __int128 Column;
        qvx::time Offset;
        // The pixel column of an absolute time.
        qvx::time X(qvx::time time) const noexcept;
    };
    bool GetMapping(CMapping& mapping);
    // Shifts the stored points left by the columns the view's start moved on, or clears them when
    // it moved back or by a whole width or more, or the span changed.
    void FitToView(const CMapping& mapping);
    // Feeds the walker's records to AddSample from the sample after `after` on; false when the
    // build is to stop.
    bool Feed(CRecordWalker& walker, const CMapping& mapping, qvx::time after, qvx::time limit);
    void AddBuiltToScene(CChartDrawInfo& info, CPlotScene& scene) override;
    // Reads and folds what the stored points lack.
    void Fold(const CMapping& mapping);
    // The end of the stored points before a build, to find where the build changed them.
    struct CTail
    {
        std::size_t Records = 0;
        std::size_t Points = 0;
        std::size_t First = 0;
        TracePoint Last[8]{};
    };
    CTail TakeTail() const noexcept;
    void NoteChanges(const CTail& before, LONG oldDataRight) noexcept;

    CColumnFolder Folder;
};

class CLinearLineTraceRegion : public CLineTraceRegion
{
public:
    using CLineTraceRegion::CLineTraceRegion;
    void AddSample(qvx::time time, double x, double y) override { Folder.AddLinearSample(time, x, y); }
};

class CHoldLineTraceRegion : public CLineTraceRegion
{
public:
    using CLineTraceRegion::CLineTraceRegion;
    void AddSample(qvx::time time, double x, double y) override { Folder.AddHoldSample(time, x, y); }
};
