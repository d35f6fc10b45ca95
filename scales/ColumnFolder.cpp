#include "scales/ColumnFolder.h"
#include <algorithm>
#include <cmath>
#include <utility>

namespace {

// A double to a 64-bit integer, truncated toward zero and held at the ends of the range.
std::int64_t Saturate(double value) noexcept
{
    if (value >= 9223372036854775808.0) return INT64_MAX;
    if (value < -9223372036854775808.0) return INT64_MIN;
    return std::int64_t(value);
}

// a - b * c / d in exact arithmetic, the quotient truncated toward zero and held in 64 bits:
// coordinates far out of the window must not overflow on their way in.
std::int64_t MinusScaled(std::int64_t a, std::int64_t b, std::int64_t c, std::int64_t d) noexcept
{
    const __int128 quotient = __int128(b) * c / d;
    const __int128 result = __int128(a) - quotient;
    if (result > INT64_MAX) return INT64_MAX;
    if (result < INT64_MIN) return INT64_MIN;
    return std::int64_t(result);
}

std::int64_t SubtractHeld(std::int64_t a, std::int64_t b) noexcept
{
    return b > 0 && a < INT64_MIN + b ? INT64_MIN : a - b;
}

} // namespace

void CColumnFolder::Begin()
{
    State = CState();
    Current = TracePolyline();
    CanResume = false;
}

void CColumnFolder::Clear()
{
    Polylines.clear();
    Begin();
}

bool CColumnFolder::Pixel(double x, double y, std::int64_t& px, std::int64_t& py)
{
    if (!std::isfinite(x) || !std::isfinite(y)) {
        Break();
        return false;
    }
    px = Saturate(x);
    py = Saturate(y);
    return true;
}

void CColumnFolder::Widen(std::int64_t time, std::int64_t y) noexcept
{
    State.ColumnLast = y;
    State.ColumnTime = time;
    State.ColumnMinimum = std::min(State.ColumnMinimum, y);
    State.ColumnMaximum = std::max(State.ColumnMaximum, y);
}

void CColumnFolder::FoldRow(std::int64_t time, std::int64_t y) noexcept
{
    CState& s = State;
    if (s.ColumnState == 2) {
        Widen(time, y);
    } else if (y != s.ColumnLast) {
        // The entry row is not folded in: the line already stands there.
        s.ColumnMinimum = s.ColumnMaximum = y;
        Widen(time, y);
        s.ColumnState = 2;
    }
}

void CColumnFolder::AddLinearSample(std::int64_t time, double x, double y)
{
    std::int64_t px, py;
    if (!Pixel(x, y, px, py)) return;
    CState& s = State;
    if (s.ColumnState != 0 && px == s.ColumnX) return FoldRow(time, py);
    if (s.ColumnState == 2) Flush();
    AddPoint(time, px, py, s.ColumnState != 0);
    s.ColumnX = px;
    s.ColumnLast = py;
    s.ColumnState = 1;
}

void CColumnFolder::AddHoldSample(std::int64_t time, double x, double y)
{
    std::int64_t px, py;
    if (!Pixel(x, y, px, py)) return;
    CState& s = State;
    if (s.ColumnState == 0) {
        AddPoint(time, px, py, false);
        s.ColumnX = px;
        s.ColumnLast = py;
        s.ColumnState = 1;
        return;
    }
    if (px == s.ColumnX) return FoldRow(time, py);
    // The old level runs across to the new column; the step up or down is drawn when the
    // column is flushed.
    if (s.ColumnState == 2) Flush();
    AddPoint(time, px, s.ColumnLast, true);
    const std::int64_t old = s.ColumnLast;
    s.ColumnX = px;
    s.ColumnMaximum = std::max(old, py);
    s.ColumnMinimum = std::min(old, py);
    s.ColumnLast = py;
    s.ColumnTime = time;
    s.ColumnState = 2;
}

void CColumnFolder::Break()
{
    if (State.ColumnState == 2) Flush();
    State.ColumnState = 0;
}

void CColumnFolder::Flush()
{
    const CState s = State;
    AddPoint(s.ColumnTime, s.ColumnX, s.ColumnMaximum, true);
    AddPoint(s.ColumnTime, s.ColumnX, s.ColumnMinimum, true);
    AddPoint(s.ColumnTime, s.ColumnX, s.ColumnLast, true);
}

void CColumnFolder::Finish()
{
    Saved = State;
    OpenRecord = Polylines.size();
    OpenPoints = Current.Points.size();
    OpenEndTime = Current.EndTime;
    CanResume = true;
    if (State.ColumnState == 2) Flush();
    if (!Current.Points.empty()) Polylines.push_back(std::move(Current));
    Current = TracePolyline();
}

bool CColumnFolder::Resume()
{
    if (!CanResume) return false;
    State = Saved;
    Current = TracePolyline();
    if (OpenRecord < Polylines.size()) {
        Current = std::move(Polylines[OpenRecord]);
        Current.Points.resize(OpenPoints);
        Current.FirstVisible = std::min<std::int32_t>(Current.FirstVisible, std::int32_t(OpenPoints));
        Current.EndTime = OpenEndTime;
    }
    Polylines.resize(std::min(OpenRecord, Polylines.size()));
    CanResume = false;
    return true;
}

void CColumnFolder::ShiftLeft(std::int32_t columns, std::int32_t keepFrom)
{
    const std::int64_t limit = std::int64_t(keepFrom) + columns;
    std::size_t gone = 0;
    bool dropping = true;
    for (TracePolyline& record : Polylines) {
        auto& points = record.Points;
        const std::int32_t count = std::int32_t(points.size());
        if (dropping) {
            while (record.FirstVisible + 1 < count && points[record.FirstVisible + 1].X < limit) ++record.FirstVisible;
            if (record.FirstVisible + 1 >= count && points.back().X < limit) {
                // Nothing of it reaches the picture; a record behind it that goes on begins with
                // a copy of its last point.
                ++gone;
                continue;
            }
            dropping = false;
        }
        for (std::int32_t i = record.FirstVisible; i < count; ++i) points[i].X -= columns;
    }
    if (CanResume && OpenRecord < Polylines.size() && gone > OpenRecord) CanResume = false;
    OpenRecord -= std::min(gone, OpenRecord);
    Polylines.erase(Polylines.begin(), Polylines.begin() + std::ptrdiff_t(gone));
    Saved.ColumnX = SubtractHeld(Saved.ColumnX, columns);
    Saved.LastX = SubtractHeld(Saved.LastX, columns);
}

bool CColumnFolder::Outside(std::int64_t x, std::int64_t y) const noexcept
{
    return x < ClipMinimum || x > ClipMaximum || y < ClipMinimum || y > ClipMaximum;
}

void CColumnFolder::Close(bool continued)
{
    Polylines.push_back(std::move(Current));
    Current = TracePolyline();
    if (continued) Current.Points.push_back(Polylines.back().Points.back());
}

void CColumnFolder::Append(std::int64_t time, std::int64_t x, std::int64_t y)
{
    Current.Points.push_back({std::int32_t(x), std::int32_t(y)});
    Current.EndTime = time;
}

void CColumnFolder::AddPoint(std::int64_t time, std::int64_t x, std::int64_t y, bool connected)
{
    CState& s = State;
    const bool outside = Outside(x, y);
    const bool clip = (connected && s.LastOutside) || outside;
    if (s.FirstPoint || (!connected && outside)) {
        // A line that begins out of the window starts from here, never from the point before
        // a break.
        s.FirstPoint = false;
        s.LastOutside = true;
        s.LastX = x;
        s.LastY = y;
        if (clip) return;
    }
    // Time runs to the right: past the right edge nothing more shows, left of the left edge
    // nothing shows yet.
    if (s.LastX > ClipMaximum || x < ClipMinimum) return;

    const auto openForPoint = [this, connected]() {
        if (!connected && !Current.Points.empty())
            Close(false);
        else if (Current.Points.size() >= std::size_t(RecordPoints))
            Close(true);
    };
    if (!clip) {
        openForPoint();
        Append(time, x, y);
        s.LastOutside = false;
        s.LastX = x;
        s.LastY = y;
        return;
    }

    std::int64_t x1 = s.LastX, y1 = s.LastY, x2 = x, y2 = y;
    const bool bothBelow = y1 < ClipMinimum && y2 < ClipMinimum;
    const bool bothAbove = y1 > ClipMaximum && y2 > ClipMaximum;
    const auto moveOn = [&s, x, y]() {
        s.LastX = x;
        s.LastY = y;
    };
    if (bothBelow || bothAbove) {
        s.LastOutside = true;
        moveOn();
        return;
    }
    if (!ClipSegment(x1, y1, x2, y2) || Outside(x2, y2)) {
        moveOn();
        return;
    }
    if (x1 != s.LastX || y1 != s.LastY) {
        if (Outside(x1, y1)) {
            moveOn();
            return;
        }
        // The line enters the window here.
        if (!Current.Points.empty()) Close(false);
        Append(time, x1, y1);
    } else {
        openForPoint();
    }
    Append(time, x2, y2);
    s.LastOutside = x2 != x || y2 != y;
    moveOn();
}

bool CColumnFolder::ClipSegment(std::int64_t& x1, std::int64_t& y1, std::int64_t& x2, std::int64_t& y2) const noexcept
{
    // P1 first, against the y limits and then the left edge; then P2 against the y limits and the
    // right edge. Time runs to the right, so no other edge can apply.
    if (Outside(x1, y1)) {
        bool inX = false;
        if (y1 < ClipMinimum || y1 > ClipMaximum) {
            if (y1 == y2) return false;
            const std::int64_t limit = y1 < ClipMinimum ? ClipMinimum : ClipMaximum;
            x1 = MinusScaled(x1, limit - y1, x1 - x2, y2 - y1);
            y1 = limit;
            inX = x1 >= ClipMinimum;
        }
        if (!inX) {
            if (x1 == x2) return false;
            y1 = MinusScaled(y1, ClipMinimum - x1, y1 - y2, x2 - x1);
            x1 = ClipMinimum;
        }
    }
    if (!Outside(x2, y2)) return true;
    bool yClipped = false;
    std::int64_t limit = 0;
    if (y2 < ClipMinimum || y2 > ClipMaximum) {
        if (y1 == y2) return true;
        limit = y2 < ClipMinimum ? ClipMinimum : ClipMaximum;
        x2 = MinusScaled(x2, x2 - x1, limit - y2, y1 - y2);
        y2 = limit;
        yClipped = true;
        if (x2 <= ClipMaximum) return true;
    }
    if (x1 == x2) return !yClipped;
    y2 = yClipped ? MinusScaled(limit, ClipMaximum - x2, limit - y1, x1 - x2)
                  : MinusScaled(y2, y2 - y1, ClipMaximum - x2, x1 - x2);
    x2 = ClipMaximum;
    return true;
}
