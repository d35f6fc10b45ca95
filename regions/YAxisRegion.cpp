#include "regions/YAxisRegion.h"
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>
#include "control/BaseChartCtl.h"
#include "control/ChartDrawInfo.h"
#include "interaction/DragManager.h"
#include "items/ChannelDataItem.h"
#include "items/ItemFlags.h"
#include "items/TaskDataItem.h"
#include "items/TraceDataItem.h"
#include "regions/ChannelRegion.h"
#include "regions/GraphRegion.h"
#include "scales/NiceTicks.h"
#include "scales/ValueToPixel.h"

namespace {

// Right and bottom of a region's rectangle are its last column and row.
bool Contains(const RECT& rect, const POINT& point)
{
    return point.x >= rect.left && point.x <= rect.right && point.y >= rect.top && point.y <= rect.bottom;
}

bool IsUnzoomed(CTaskDataItem* task)
{
    return task && task->GetYZoom() == CYZoom{0.0, 1.0};
}

// The state of a context, put back whole when the scope ends, whatever font was selected before
// (also none of the chart's). The text is drawn transparent: the numbers and title never erase
// the grid.
class CSavedText
{
public:
    CSavedText(HDC dc, HGDIOBJ font) noexcept : Saved(dc)
    {
        if (font) SelectObject(dc, font);
        SetBkMode(dc, TRANSPARENT);
    }

private:
    CSavedDC Saved;
};

int TextWidth(HDC dc, const std::wstring& text)
{
    SIZE size{};
    GetTextExtentPoint32W(dc, text.c_str(), static_cast<int>(text.size()), &size);
    return size.cx;
}

// The six band cursors, made once for the process: 32 x 32 in black with a white rim, a double
// arrow with a bar at the edge that moves, and a cross in the corner while the drag is locked.
struct CBandCursors
{
    HCURSOR Top, Bottom, Band, TopLocked, BottomLocked, BandLocked;
};

HCURSOR MakeBandCursor(bool barTop, bool barBottom, bool locked)
{
    constexpr int Size = 32;
    bool shape[Size][Size] = {};
    const auto fill = [&](int left, int top, int right, int bottom) {
        for (int y = top; y <= bottom; ++y)
            for (int x = left; x <= right; ++x) shape[y][x] = true;
    };
    fill(15, 8, 16, 23);
    for (int r = 0; r < 5; ++r) {
        fill(15 - r, 6 + r, 16 + r, 6 + r);
        fill(15 - r, 25 - r, 16 + r, 25 - r);
    }
    if (barTop) fill(7, 2, 24, 3);
    if (barBottom) fill(7, 28, 24, 29);
    if (locked) {
        for (int i = 0; i < 7; ++i) {
            fill(23 + i, 23 + i, 24 + i, 23 + i);
            fill(29 - i, 23 + i, 30 - i, 23 + i);
        }
    }
    // AND bit 1 lets the screen through; where it is 0 the XOR bit gives white (1) or black (0).
    BYTE andMask[Size * Size / 8];
    BYTE xorMask[Size * Size / 8] = {};
    std::fill(std::begin(andMask), std::end(andMask), BYTE(0xFF));
    for (int y = 0; y < Size; ++y) {
        for (int x = 0; x < Size; ++x) {
            bool rim = false;
            for (int dy = -1; dy <= 1; ++dy)
                for (int dx = -1; dx <= 1; ++dx) {
                    const int nx = x + dx, ny = y + dy;
                    rim = rim || (nx >= 0 && nx < Size && ny >= 0 && ny < Size && shape[ny][nx]);
                }
            if (!rim) continue;
            const BYTE bit = BYTE(0x80 >> (x % 8));
            andMask[y * 4 + x / 8] &= BYTE(~bit);
            if (!shape[y][x]) xorMask[y * 4 + x / 8] |= bit;
        }
    }
    return CreateCursor(GetModuleHandleW(nullptr), Size / 2, Size / 2, Size, Size, andMask, xorMask);
}

const CBandCursors& BandCursors()
{
    static const CBandCursors cursors{MakeBandCursor(true, false, false), MakeBandCursor(false, true, false),
                                      MakeBandCursor(true, true, false),  MakeBandCursor(true, false, true),
                                      MakeBandCursor(false, true, true),  MakeBandCursor(true, true, true)};
    return cursors;
}

} // namespace

CYAxisRegion::CYAxisRegion(const HWND* windowRef, BOOL hideMarks, int side, CTaskDataItem* task,
                           CChannelDataItem* channel, CGraphRegion& graph)
    : CChartRegionBase(windowRef), Task(task), Channel(channel), Graph(graph), HideMarks(hideMarks), Side(side),
      FollowsActive(channel == nullptr)
{
    if (Task) Task->AddListener(this);
    if (Channel) Channel->AddListener(this);
    const CBandCursors& cursors = BandCursors();
    CursorTop = cursors.Top;
    CursorBottom = cursors.Bottom;
    CursorBand = cursors.Band;
    CursorTopLocked = cursors.TopLocked;
    CursorBottomLocked = cursors.BottomLocked;
    CursorBandLocked = cursors.BandLocked;
}

CYAxisRegion::~CYAxisRegion()
{
    if (DragManager) DragManager->Forget(this);
    if (Trace) Trace->RemoveListener(this);
    if (Channel) Channel->RemoveListener(this);
    if (Task) Task->RemoveListener(this);
    // A band cursor must not outlive the axis that showed it.
    const HCURSOR shown = GetCursor();
    const HCURSOR mine[] = {CursorTop, CursorBottom, CursorBand, CursorTopLocked, CursorBottomLocked, CursorBandLocked};
    if (shown && std::find(std::begin(mine), std::end(mine), shown) != std::end(mine))
        SetCursor(LoadCursorW(nullptr, MAKEINTRESOURCEW(32512)));
    NextAxisChain.RemoveChainEntry(CGraphRegion::NextAxisId);
}

void CYAxisRegion::Invalidate()
{
    if (const HWND window = Window()) InvalidateRect(window, &TextClip, FALSE);
    CChartRegionBase::Invalidate();
}

void CYAxisRegion::OnDataItemChanged(CDataItemBase* item, DWORD flags)
{
    if (item == Trace && !(flags & TraceColorChanged)) return;
    if (flags & 0x7FFFFFFF) Invalidate();
    if (item == Task && (flags & TaskActiveStale)) DirtyBits |= DirtyAxisItems | DirtyBand;
    if (item == Channel && (flags & (ChannelYPercentStale | ChannelTracesStale))) DirtyBits |= DirtyBand;
}

void CYAxisRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Trace) {
        // The channel's traces are made again: find this axis's one anew.
        Trace = nullptr;
        DirtyBits |= DirtyAxisItems;
    }
    if (item == Channel) {
        Channel = nullptr;
        DirtyBits |= DirtyAxisItems | DirtyBand;
    }
    if (item == Task) Task = nullptr;
}

void CYAxisRegion::Recalculate(CChartDrawInfo&)
{
    if (DirtyBits & DirtyAxisItems) {
        if (Trace) Trace->RemoveListener(this);
        Trace = nullptr;
        if (FollowsActive) {
            CChannelDataItem* active = Task ? Task->GetActiveChannel() : nullptr;
            if (active != Channel) {
                if (Channel) Channel->RemoveListener(this);
                Channel = active;
                if (Channel) Channel->AddListener(this);
            }
            // Stays dirty: the next paint looks for an active channel again.
            if (!Channel) return;
            Trace = Task->GetActiveTrace();
        } else if (Channel && Task) {
            CDataSelectionDataItem* selection = Task->GetActiveSelection();
            for (CTraceDataItem* trace : Channel->GetTraces())
                if (trace->GetSelection() == selection) Trace = trace;
        }
        if (Trace) Trace->AddListener(this);
    }
    AxisRect = Bounds;
    if (!Graph.Tiled && Channel) {
        // Rounded, where the channel region truncates its plot rectangle.
        const double height = Bounds.bottom - Bounds.top;
        AxisRect.top = static_cast<LONG>(height * ((100.0 - Channel->GetYPercentMaximum()) / 100.0) + Bounds.top + 0.5);
        AxisRect.bottom =
            static_cast<LONG>(height * ((100.0 - Channel->GetYPercentMinimum()) / 100.0) + Bounds.top + 0.5);
    }
    DirtyBits = 0;
}

bool CYAxisRegion::GetDisplayRange(CChannelDataItem* channel, double& low, double& high)
{
    low = channel->ToDisplayUnit(channel->GetScaleMinimum(1));
    high = channel->ToDisplayUnit(channel->GetScaleMaximum(1));
    return high > low;
}

void CYAxisRegion::Draw(CChartDrawInfo& info)
{
    if (DirtyBits) Recalculate(info);
    const CDragManager* manager = Graph.Owner.GetDragManager();
    if (!(manager && manager->ActiveMode) && Window() && GetFocus() == Window()) SetAxisCursor();
    if (!Trace || IsRectEmpty(&AxisRect)) return;

    CPenHandle pen(CreatePen(PS_SOLID, 0, Trace->GetColor()));
    const CSelection selected(info.hdcOut, pen);
    {
        CSavedText saved(info.hdcOut, info.hFontNormal);
        SetTextColor(info.hdcOut, Trace->GetColor());
        {
            // The title turns the font on its side for itself alone.
            const CSavedText title(info.hdcOut, nullptr);
            DrawTitle(info);
        }
        double low = 0.0, high = 0.0;
        if (Channel && GetDisplayRange(Channel, low, high)) {
            const TEXTMETRICW metrics = info.GetNormalMetrics();
            if (HideMarks)
                DrawEnds(info, metrics, low, high);
            else
                DrawTicks(info, metrics, low, high);
        }
    }
}

void CYAxisRegion::DrawTitle(CChartDrawInfo& info)
{
    if (!Channel || !Task) return;
    if (Graph.Tiled && Trace != Task->GetActiveTrace()) return;
    const HDC dc = info.hdcOut;
    SelectObject(dc, Side == CGraphRegion::SideRight ? info.hFontRotate270 : info.hFontRotate90);

    const std::wstring text = FitTitle(dc, TextClip.bottom - TextClip.top);
    if (text.empty()) return;
    const int width = TextWidth(dc, text);

    const int mid = AxisRect.top + (AxisRect.bottom - AxisRect.top) / 2;
    const int half = width / 2;
    const bool right = Side == CGraphRegion::SideRight;
    const int x = right ? TextClip.right : TextClip.left;
    int y = mid;
    UINT align = TA_CENTER;
    if (mid - half < TextClip.top) {
        y = TextClip.top;
        align = right ? TA_LEFT : TA_RIGHT;
    } else if (mid + half > TextClip.bottom) {
        y = TextClip.bottom;
        align = right ? TA_RIGHT : TA_LEFT;
    }
    SetTextAlign(dc, align | TA_TOP);
    ExtTextOutW(dc, x, y, ETO_CLIPPED, &TextClip, text.c_str(), static_cast<UINT>(text.size()), nullptr);
}

std::wstring CYAxisRegion::FitTitle(HDC dc, int room)
{
    if (!Channel) return {};
    // A channel without a display name shows its name; an empty unit leaves out the brackets.
    std::wstring text(Channel->GetDisplayName().View());
    if (text.empty()) text = Channel->GetName().View();
    const std::wstring unit(Channel->GetUnitText().View());
    if (!unit.empty()) text += L" (" + unit + L")";
    const int width = TextWidth(dc, text);
    if (text.empty() || width <= room) return text;
    // A first guess from the average width of a character, then one character less at a time.
    const std::wstring full = text;
    int n = static_cast<int>(static_cast<double>(room) / width * full.size()) - 2;
    if (n < 1) return full.substr(0, 1) + L"...";
    for (; n >= 1; --n) {
        text = full.substr(0, n) + L"...";
        if (TextWidth(dc, text) <= room || n < 2) break;
    }
    return text;
}

void CYAxisRegion::DrawTick(HDC dc, int y, int length)
{
    const int spine = Side == CGraphRegion::SideRight ? AxisRect.left : AxisRect.right;
    const int out = Side == CGraphRegion::SideRight ? 1 : -1;
    MoveToEx(dc, spine, y, nullptr);
    LineTo(dc, spine + out * length, y);
}

void CYAxisRegion::DrawLabel(HDC dc, int x, int y, UINT align, const wchar_t* text)
{
    SetTextAlign(dc, align | (Side == CGraphRegion::SideRight ? TA_LEFT : TA_RIGHT));
    ExtTextOutW(dc, x, y, ETO_CLIPPED, &AxisRect, text, static_cast<UINT>(wcslen(text)), nullptr);
}

void CYAxisRegion::DrawTicks(CChartDrawInfo& info, const TEXTMETRICW& metrics, double low, double high)
{
    const HDC dc = info.hdcOut;
    const int dpiX = GetDeviceCaps(info.hdcRef, LOGPIXELSX);
    const int minorLength = dpiX * 3 / 72;
    const int majorLength = dpiX * 6 / 72;
    const int spine = Side == CGraphRegion::SideRight ? AxisRect.left : AxisRect.right;
    const int out = Side == CGraphRegion::SideRight ? 1 : -1;
    MoveToEx(dc, spine, AxisRect.top, nullptr);
    LineTo(dc, spine, AxisRect.bottom + 1);

    CAxisTicks ticks;
    if (!GetScaleTicks(low, high, Channel->GetDecimalPlaces(), static_cast<int>(metrics.tmHeight * 1.5),
                       AxisRect.bottom - AxisRect.top, ticks))
        return;
    const auto pixel = [&](double value) { return MapToPixel(AxisRect.top, AxisRect.bottom, low, high, value, true, true); };
    WalkSeries(ticks.MinorStart, ticks.MinorStep, low, high, [&](double value) {
        if (const int y = pixel(value); y >= 0) DrawTick(dc, y, minorLength + 1);
    });
    const int x = spine + out * (majorLength + dpiX / 32);
    const int half = metrics.tmHeight / 2;
    WalkSeries(ticks.MajorStart, ticks.MajorStep, low, high, [&](double value) {
        const int y = pixel(value);
        if (y < 0) return;
        DrawTick(dc, y, majorLength + 1);
        const wchar_t* text = FormatNumber(value, ticks.Decimals, false, true);
        // A label near the bottom sits on its tick, one near the top hangs from it, and the
        // others have their digits centred on it.
        if (y + half >= AxisRect.bottom)
            DrawLabel(dc, x, y, TA_BASELINE, text);
        else if (y - half <= AxisRect.top)
            DrawLabel(dc, x, y - metrics.tmInternalLeading, TA_TOP, text);
        else
            DrawLabel(dc, x, y + (metrics.tmAscent - metrics.tmInternalLeading) / 2, TA_BASELINE, text);
    });
}

void CYAxisRegion::DrawEnds(CChartDrawInfo& info, const TEXTMETRICW& metrics, double low, double high)
{
    const HDC dc = info.hdcOut;
    const int length = GetDeviceCaps(info.hdcRef, LOGPIXELSX) * 6 / 72;
    const int spine = Side == CGraphRegion::SideRight ? AxisRect.left : AxisRect.right;
    const int out = Side == CGraphRegion::SideRight ? 1 : -1;
    MoveToEx(dc, spine, AxisRect.top, nullptr);
    LineTo(dc, spine, AxisRect.bottom + 1);
    DrawTick(dc, AxisRect.top, length + 1);
    DrawTick(dc, AxisRect.bottom, length + 1);
    if (2 * metrics.tmAscent >= AxisRect.bottom - AxisRect.top) return;
    const int decimals = Channel->GetDecimalPlaces();
    const int x = spine + out * (length + 1);
    DrawLabel(dc, x, AxisRect.top - metrics.tmInternalLeading + 1, TA_TOP, FormatNumber(high, decimals, false, true));
    DrawLabel(dc, x, AxisRect.bottom - 1, TA_BASELINE, FormatNumber(low, decimals, false, true));
}

int CYAxisRegion::YAxisWidth(CChartDrawInfo& info, CChannelRegion& region)
{
    const HGDIOBJ old = SelectObject(info.hdcRef, info.hFontNormal);
    TEXTMETRICW metrics{};
    GetTextMetricsW(info.hdcRef, &metrics);
    int digits = 2 * metrics.tmAveCharWidth;
    if (CChannelDataItem* channel = region.Channel) {
        const double low = channel->ToDisplayUnit(channel->GetScaleMinimum(0));
        const double high = channel->ToDisplayUnit(channel->GetScaleMaximum(0));
        if (high > low) {
            const int decimals = channel->GetDecimalPlaces();
            // The text is the formatter's one buffer: measured before the next call.
            digits = std::max(digits, TextWidth(info.hdcRef, FormatNumber(low, decimals, false, false)));
            digits = std::max(digits, TextWidth(info.hdcRef, FormatNumber(high, decimals, false, false)));
        }
    }
    SelectObject(info.hdcRef, old);
    const int dpiX = GetDeviceCaps(info.hdcRef, LOGPIXELSX);
    return dpiX * 6 / 72 + metrics.tmHeight + dpiX / 16 + digits;
}

HRESULT CYAxisRegion::GetYTicks(CChartDrawInfo& info, CAxisTicks& ticks, BOOL active)
{
    CChannelDataItem* channel = active ? (Task ? Task->GetActiveChannel() : nullptr) : Channel;
    if (!channel) return E_FAIL;
    double low = 0.0, high = 0.0;
    if (!GetDisplayRange(channel, low, high)) return E_FAIL;
    const TEXTMETRICW metrics = info.GetNormalMetrics();
    if (!GetScaleTicks(low, high, channel->GetDecimalPlaces(), static_cast<int>(metrics.tmHeight * 1.5),
                       AxisRect.bottom - AxisRect.top, ticks))
        return E_FAIL;
    return S_OK;
}

// --- the band drag ---

int CYAxisRegion::HitTest(const POINT& point)
{
    // An axis without a side is laid out but never painted, and is no handle either.
    if (Side == CGraphRegion::SideNone || !Contains(AxisRect, point) || !Channel || !Channel->GetYPercentEnabled() ||
        AxisRect.right >= Graph.Bounds.right || Graph.GetOffsetState() != 1)
        return EdgeNone;
    const int height = AxisRect.bottom - AxisRect.top;
    const int y = point.y - AxisRect.top;
    return y < height / 4 ? EdgeTop : y < 3 * height / 4 ? EdgeBand : EdgeBottom;
}

bool CYAxisRegion::SetAxisCursor()
{
    const HWND window = Window();
    POINT point{};
    if (!window || !GetCursorPos(&point) || !ScreenToClient(window, &point) || !Contains(Bounds, point)) return false;
    HCURSOR cursor = nullptr;
    const int edge = Channel && !Graph.Tiled && !Channel->GetTraces().empty() ? HitTest(point) : EdgeNone;
    if (edge != EdgeNone) {
        // The whole band cannot move while it fills the axis.
        const bool free = IsUnzoomed(Task) && (edge != EdgeBand || !EqualRect(&AxisRect, &Bounds));
        const HCURSOR normal[] = {CursorTop, CursorBand, CursorBottom};
        const HCURSOR locked[] = {CursorTopLocked, CursorBandLocked, CursorBottomLocked};
        cursor = free ? normal[edge] : locked[edge];
    } else {
        cursor = reinterpret_cast<HCURSOR>(GetClassLongPtrW(window, GCLP_HCURSOR));
    }
    SetCursor(cursor);
    return true;
}

BOOL CYAxisRegion::BeginBandDrag(CDragManager& manager)
{
    DragManager = &manager;
    return manager.Start(this);
}

bool CYAxisRegion::ProcessWindowMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam, LRESULT& result,
                                        DWORD mapId)
{
    if (mapId != 0) return false;
    switch (message) {
    case WM_LBUTTONDOWN:
        if (CDragManager* manager = Graph.Owner.GetDragManager(); manager && BeginBandDrag(*manager)) return true;
        break;
    case WM_SETCURSOR:
        // Not for the frame, nor when no mouse message set it off.
        if (LOWORD(lParam) == HTCLIENT && HIWORD(lParam) != 0 && SetAxisCursor()) {
            result = TRUE;
            return true;
        }
        break;
    default:
        break;
    }
    return NextAxisChain.CallChain(CGraphRegion::NextAxisId, window, message, wParam, lParam, result);
}

BOOL CYAxisRegion::Begin()
{
    // A band is dragged against the channel's whole scale only.
    if (!IsUnzoomed(Task) || !DragManager) return FALSE;
    DragEdge = HitTest(DragManager->StartPoint);
    if (DragEdge == EdgeNone) return FALSE;
    BandAtDragStart = AxisRect;
    return TRUE;
}

void CYAxisRegion::KeepGap()
{
    const int gap = (Bounds.bottom - Bounds.top) / 10;
    if (AxisRect.top <= AxisRect.bottom - gap) return;
    if (DragEdge == EdgeTop) AxisRect.top = AxisRect.bottom - gap;
    if (DragEdge == EdgeBottom) AxisRect.bottom = AxisRect.top + gap;
}

void CYAxisRegion::Track(const POINT* point)
{
    if (!DragManager) return;
    const int dy = point->y - DragManager->StartPoint.y;
    switch (DragEdge) {
    case EdgeTop:
        AxisRect.top = std::max(BandAtDragStart.top + dy, Bounds.top);
        break;
    case EdgeBottom:
        AxisRect.bottom = std::min(BandAtDragStart.bottom + dy, Bounds.bottom);
        break;
    case EdgeBand: {
        if (AxisRect.top < Bounds.top || AxisRect.bottom > Bounds.bottom) break;
        int top = BandAtDragStart.top + dy;
        int bottom = BandAtDragStart.bottom + dy;
        const int below = std::max(bottom - static_cast<int>(Bounds.bottom), 0);
        top -= below;
        bottom -= below;
        const int above = std::max(static_cast<int>(Bounds.top) - top, 0);
        AxisRect.top = top + above;
        AxisRect.bottom = bottom + above;
        break;
    }
    default:
        return;
    }
    KeepGap();
    PaintNow();
}

void CYAxisRegion::PaintNow()
{
    const HWND window = Window();
    if (!window) return;
    CWindowDC windowDc(window);
    RECT client{};
    GetClientRect(window, &client);
    CDeviceContext memory(CreateCompatibleDC(windowDc));
    CBitmapHandle bitmap(CreateCompatibleBitmap(windowDc, std::max<LONG>(client.right, 1), std::max<LONG>(client.bottom, 1)));
    if (!memory || !bitmap) return;
    const CSelection selected(memory, bitmap);
    {
        CChartDrawInfo info(memory, windowDc, Graph.Owner, 0);
        RECT area = Bounds;
        ++area.right;
        ++area.bottom;
        FillRect(memory, &area, info.BackBrush);
        Draw(info);
        // Never over the graph, which the axis's rectangle may reach when the columns are cut.
        const LONG right = std::min(area.right, Graph.Bounds.right);
        BitBlt(windowDc, area.left, area.top, right - area.left, area.bottom - area.top, memory, area.left, area.top,
               SRCCOPY);
    }
}

void CYAxisRegion::End()
{
    KeepGap();
    const bool topMoved = AxisRect.top != BandAtDragStart.top;
    const bool bottomMoved = AxisRect.bottom != BandAtDragStart.bottom;
    const float height = static_cast<float>(Bounds.bottom - Bounds.top);
    // A channel removed during the drag gets nothing.
    if (!Channel || height <= 0.0f) return;
    if (topMoved) Channel->SetYPercentMaximum(100.0f - (AxisRect.top - Bounds.top) / height * 100.0f);
    if (bottomMoved) Channel->SetYPercentMinimum(100.0f - (AxisRect.bottom - Bounds.top) / height * 100.0f);
    if (topMoved || bottomMoved) OrderChannelsByBand();
}

void CYAxisRegion::Cancel()
{
    AxisRect = BandAtDragStart;
    if (const HWND window = Window()) InvalidateRect(window, nullptr, FALSE);
}

void CYAxisRegion::OrderChannelsByBand()
{
    CChannelOrdering* ordering = Task ? Task->GetOrdering() : nullptr;
    if (!ordering) return;
    std::vector<CChannelDataItem*> channels;
    for (const auto& axis : Graph.YAxes)
        if (axis->Channel) channels.push_back(axis->Channel);
    const auto band = [](CChannelDataItem* channel) { return channel->GetYPercentMaximum(); };
    const auto place = [&](CChannelDataItem* channel) { return ordering->IndexOf(channel->GetName().View()); };
    // Highest band first; equal bands keep the order that the channels have.
    std::stable_sort(channels.begin(), channels.end(), [&](CChannelDataItem* a, CChannelDataItem* b) {
        const double first = band(a), second = band(b);
        return first != second ? first > second : place(a) < place(b);
    });
    long position = 1;
    for (CChannelDataItem* channel : channels) {
        const long old = place(channel);
        if (old == 0) continue;
        const long grouped = ordering->GetGroupedCount();
        // The grouped head is dissolved before a channel moves into or out of it.
        if (old != position && (old <= grouped || position <= grouped)) {
            IQvxGroupedOrdering* groupedOrdering = ordering;
            groupedOrdering->SetMode(1);
        }
        ordering->MoveItem(channel->GetName().View(), position, false, true);
        ++position;
    }
}
