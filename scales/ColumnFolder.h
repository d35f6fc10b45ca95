#pragma once
// The column folder of a line trace: samples, already mapped to device pixels, go in; the
// polylines that draw them come out, with every pixel column of samples folded to at most four
// vertices (the entry, the highest, the lowest and the last). Points are clipped to 16-bit
// device coordinates and kept in records of at most 250 points. No drawing and no host here:
// the trace region reads the samples and paints the records.
#include <cstdint>
#include <vector>

// One vertex in device pixels.
struct TracePoint
{
    std::int32_t X;
    std::int32_t Y;
};

inline bool operator==(const TracePoint& a, const TracePoint& b) noexcept { return a.X == b.X && a.Y == b.Y; }

// One stored polyline.
struct TracePolyline
{
    // The first point still on the picture; those before it scrolled off.
    std::int32_t FirstVisible = 0;
    std::vector<TracePoint> Points;
    // The time of the last sample that went into Points.
    std::int64_t EndTime = 0;
};

class CColumnFolder
{
public:
    static constexpr std::int32_t RecordPoints = 250;
    static constexpr std::int64_t ClipLimitMaximum = 32767;
    static constexpr std::int64_t ClipLimitMinimum = -32768;

    // Starts a build from nothing: the records stay, the next point opens a new one.
    void Begin();
    // Takes the next sample (time, x, y) of the build. Linear joins samples with straight lines;
    // hold keeps a value until the next sample, so that a new column first draws the old level
    // across. A y that is not finite is a gap.
    void AddLinearSample(std::int64_t time, double x, double y);
    void AddHoldSample(std::int64_t time, double x, double y);
    // A break in the data: the next sample is not joined to the one before.
    void Break();
    // Ends the build: the open column goes out and the record being extended is stored. What the
    // build had open is kept, so that Resume can go on with the next sample exactly as if the
    // build had never ended.
    void Finish();
    // Takes back what Finish gave out and goes on where the last build stopped. False when
    // nothing is open (no build, or what it had open is gone): a fresh build must follow.
    bool Resume();
    // Forgets every record and the open state.
    void Clear();

    // Moves the records left by `columns` pixels, for a view that scrolled by whole columns.
    // Points left of `keepFrom` (after the move) leave the picture but the last of them, which
    // the line into the first column kept starts from; a record with none left goes.
    void ShiftLeft(std::int32_t columns, std::int32_t keepFrom);

    // Stores one point: time, x, y, and whether it joins the point before.
    void AddPoint(std::int64_t time, std::int64_t x, std::int64_t y, bool connected);

    // The stored records in time order. Between builds the last one holds the open column.
    std::vector<TracePolyline> Polylines;
    std::int64_t ClipMaximum = ClipLimitMaximum;
    std::int64_t ClipMinimum = ClipLimitMinimum;

private:
    // Everything that the next sample's fold depends on.
    struct CState
    {
        // The last point handed to AddPoint, before any clipping.
        std::int64_t LastX = 0;
        std::int64_t LastY = 0;
        bool LastOutside = false;
        bool FirstPoint = true;
        // 0 nothing open, 1 a column whose entry is stored, 2 a column with rows to flush.
        int ColumnState = 0;
        std::int64_t ColumnX = 0;
        std::int64_t ColumnLast = 0;
        std::int64_t ColumnMinimum = 0;
        std::int64_t ColumnMaximum = 0;
        std::int64_t ColumnTime = 0;
    };

    // A sample's pixel, or false for a gap.
    bool Pixel(double x, double y, std::int64_t& px, std::int64_t& py);
    void Flush();
    // Enters a new row of the open column.
    void Widen(std::int64_t time, std::int64_t y) noexcept;
    // Takes a sample of the open column, the same in both tables.
    void FoldRow(std::int64_t time, std::int64_t y) noexcept;
    // Stores Current and begins an empty one; with `continued` the new one starts on the last
    // point of the old, so that the line goes on unbroken.
    void Close(bool continued);
    void Append(std::int64_t time, std::int64_t x, std::int64_t y);
    bool Outside(std::int64_t x, std::int64_t y) const noexcept;
    // Clips the segment P1-P2 to the window; false when nothing of it is left.
    bool ClipSegment(std::int64_t& x1, std::int64_t& y1, std::int64_t& x2, std::int64_t& y2) const noexcept;

    CState State;
    TracePolyline Current;
    // What Finish kept for Resume: the state, where the record being extended lies in Polylines
    // and how far it reached.
    bool CanResume = false;
    CState Saved;
    std::size_t OpenRecord = 0;
    std::size_t OpenPoints = 0;
    std::int64_t OpenEndTime = 0;
};
