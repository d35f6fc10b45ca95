#include "regions/XAxisRegion.h"
#include <cmath>
#include "scales/NiceTicks.h"
#include <algorithm>
#include <cstdint>
#include <cwchar>
#include "com/ComObject.h"
#include "control/BaseChartCtl.h"
#include "control/ChartDrawInfo.h"
#include "items/ChannelDataItem.h"
#include "items/DataSelectionDataItem.h"
#include "items/ItemFlags.h"
#include "items/RTCTaskDataItem.h"
#include "regions/GraphRegion.h"
#include "scales/TimeTicks.h"
#include "scales/ValueToPixel.h"

namespace {

constexpr UINT NoValueText = 11037;
constexpr UINT OffsetCaptionText = 11043;
// Bits of DrawOffsetLabel's flags: which fields are framed.
constexpr DWORD FrameTime = 1;
constexpr DWORD FrameValue = 2;
// The change flags of the task that are more than a cursor move.
constexpr DWORD AnyButCursor = 0x7FFFFFFF;

// A text of the module's string table, or `fallback` where the module's resources are absent.
std::wstring ModuleString(UINT id, const wchar_t* fallback)
{
    const wchar_t* text = nullptr;
    const int length = LoadStringW(CComModule::Instance().Handle(), id, reinterpret_cast<wchar_t*>(&text), 0);
    return length > 0 && text ? std::wstring(text, size_t(length)) : std::wstring(fallback);
}

SIZE Extent(CChartDrawInfo& info, const std::wstring& text)
{
    SIZE size{};
    info.GetTextExtent(text.c_str(), size);
    return size;
}

// The output context set up for the axis's lines and texts, and the reference context for
// measuring them, each put back at the end of the scope.
class CAxisPainting
{
public:
    explicit CAxisPainting(CChartDrawInfo& info) noexcept
        : Saved(info.hdcOut), Measuring(info.hdcRef, info.hFontNormal)
    {
        SelectObject(info.hdcOut, info.ForePen);
        if (info.hFontNormal) SelectObject(info.hdcOut, info.hFontNormal);
        SetTextColor(info.hdcOut, info.ForeColour);
        SetBkMode(info.hdcOut, TRANSPARENT);
    }

private:
    CSavedDC Saved;
    CSelection Measuring;
};

// A tick's x between the ends of the axis; -1 outside.
long AxisPixel(const RECT& bounds, const CAxisTicks& ticks, double value)
{
    return MapToPixel(bounds.left, bounds.right, ticks.Minimum, ticks.Maximum, value, true, false);
}

} // namespace

CXAxisRegion::CXAxisRegion(CGraphRegion& graph, CTaskDataItem* task)
    : CChartRegionBase(graph.WindowRef), Graph(graph), Task(task)
{
    if (Task) Task->AddListener(this);
}

CXAxisRegion::~CXAxisRegion()
{
    if (Task) Task->RemoveListener(this);
}

long CXAxisRegion::TimeDigits() const
{
    return std::int16_t(Task->GetTimeDigits());
}

void CXAxisRegion::GetAxisTimeRange(qvx::time& first, qvx::time& last)
{
    if (Task) Task->GetTimeRange(first, last);
}

HRESULT CXAxisRegion::GetTimeTicks(CChartDrawInfo& info, CAxisTicks& ticks)
{
    if (!Task) return E_FAIL;
    // Equal ends fail, should the range stay as it came in.
    qvx::time first = 0, last = 0;
    GetAxisTimeRange(first, last);
    const CSelection font(info.hdcRef, info.hFontNormal);
    const TimeLabelWidth width = [&](std::int64_t time, long decimals) -> long {
        SIZE size{};
        info.GetTextExtent(Task->FormatTime(time, decimals, true, false, false), size);
        return size.cx;
    };
    return ChooseTimeTicks(first, last, Bounds.right - Bounds.left, std::int16_t(TimeDigits()), width, ticks)
               ? S_OK
               : E_FAIL;
}

HRESULT CXAxisRegion::GetDistanceTicks(CChartDrawInfo& info, CAxisTicks& ticks)
{
    if (!Task || !Task->GetActiveSelection()) return E_FAIL;
    // TODO: both ends in the distance channel's display unit, once selections know their channel.
    double minimum = 0.0, maximum = 0.0;
    Task->GetDistanceRange(minimum, maximum);
    if (!(minimum < maximum)) return E_FAIL;
    const double span = maximum - minimum;
    const int decimals = span > 1.0 ? 0 : span > 0.1 ? 1 : span > 0.01 ? 2 : 3;
    // The wider end, and half as much again, is the room a label needs.
    const CSelection font(info.hdcRef, info.hFontNormal);
    SIZE low{}, high{};
    const std::wstring first = FormatNumber(minimum, decimals, false, true);
    info.GetTextExtent(first.c_str(), low);
    info.GetTextExtent(FormatNumber(maximum, decimals, false, true), high);
    const int room = static_cast<int>(std::max(low.cx, high.cx) * 1.5);
    if (!GetNiceTicks(minimum, maximum, 1.0 / std::pow(10.0, decimals), room, Bounds.right - Bounds.left, ticks))
        return E_FAIL;
    ticks.Decimals = decimals;
    return S_OK;
}

void CXAxisRegion::Draw(CChartDrawInfo& info)
{
    CChartRegionBase::Draw(info);
    if (IsRectEmpty(&Bounds) || !Task) return;
    CAxisTicks ticks;
    if (FAILED(Task->IsDistanceMode() ? GetDistanceTicks(info, ticks) : GetTimeTicks(info, ticks))) return;
    DrawTicks(info, ticks);
    DrawCursorLabel(info);
}

void CXAxisRegion::DrawTicks(CChartDrawInfo& info, const CAxisTicks& ticks)
{
    // 3 and 6 points long.
    const int dpiY = GetDeviceCaps(info.hdcRef, LOGPIXELSY);
    const int minorLength = dpiY * 3 / 72;
    const int majorLength = dpiY * 6 / 72;
    HDC dc = info.hdcOut;
    const CAxisPainting painting(info);
    const long top = Bounds.top;
    MoveToEx(dc, Bounds.left, top, nullptr);
    LineTo(dc, Bounds.right, top);
    WalkSeries(ticks.MinorStart, ticks.MinorStep, ticks.Minimum, ticks.Maximum, [&](double value) {
        const long x = AxisPixel(Bounds, ticks, value);
        MoveToEx(dc, x, top, nullptr);
        LineTo(dc, x, top + minorLength + 1);
    });
    WalkSeries(ticks.MajorStart, ticks.MajorStep, ticks.Minimum, ticks.Maximum, [&](double value) {
        const long x = AxisPixel(Bounds, ticks, value);
        MoveToEx(dc, x, top, nullptr);
        LineTo(dc, x, top + majorLength + 1);
        const std::wstring text = LabelText(ticks, value);
        const LabelAlignment alignment = AlignLabel(x, Extent(info, text).cx, Bounds.left, Bounds.right);
        SetTextAlign(dc, TA_TOP | (alignment == LabelAlignment::Left     ? TA_LEFT
                                   : alignment == LabelAlignment::Centre ? TA_CENTER
                                                                         : TA_RIGHT));
        ExtTextOutW(dc, x, top + majorLength, ETO_CLIPPED, &Bounds, text.c_str(), UINT(text.size()), nullptr);
    });
}

std::wstring CXAxisRegion::LabelText(const CAxisTicks& ticks, double value)
{
    if (Task->IsDistanceMode()) return FormatNumber(value, ticks.Decimals, false, true);
    // Whole labels: trailing zeros go, and the fields that are zero in front.
    const wchar_t* text = Task->FormatTime(SecondsToTicks(value), ticks.Decimals, true, true, false);
    return text ? text : L"";
}

void CXAxisRegion::DrawCursorLabel(CChartDrawInfo& info)
{
    CDataSelectionDataItem* selection = Task ? Task->GetActiveSelection() : nullptr;
    if (!selection) return;
    const wchar_t* label = selection->GetTimeLabel();
    const std::wstring caption = label ? label : L"";
    const wchar_t* value = GetCursorText();
    const std::wstring text = value ? value : L"";

    const CAxisPainting painting(info);
    const SIZE captionSize = Extent(info, caption), valueSize = Extent(info, text);
    // With two cursors a capital delta in the symbol face stands between caption and value.
    const bool two = Task->HasTwoCursors() && info.hFontSymbol;
    SIZE deltaSize{};
    if (two) {
        const CSelection symbol(info.hdcRef, info.hFontSymbol);
        GetTextExtentPoint32W(info.hdcRef, L"D", 1, &deltaSize);
    }
    SelectionLabelRect.right = Bounds.right;
    SelectionLabelRect.left = Bounds.right - valueSize.cx - deltaSize.cx - captionSize.cx;
    SelectionLabelRect.bottom = Bounds.bottom;
    SelectionLabelRect.top = Bounds.bottom - std::max({captionSize.cy, deltaSize.cy, valueSize.cy});

    // Each text at the right end of its own cell, clipped to it.
    SetTextAlign(info.hdcOut, TA_RIGHT | TA_TOP);
    RECT cell = SelectionLabelRect;
    cell.right = cell.left + captionSize.cx;
    ExtTextOutW(info.hdcOut, cell.right, cell.top, ETO_CLIPPED, &cell, caption.c_str(), UINT(caption.size()), nullptr);
    if (two) {
        cell.left = cell.right;
        cell.right = cell.left + deltaSize.cx;
        const CSelection symbol(info.hdcOut, info.hFontSymbol);
        ExtTextOutW(info.hdcOut, cell.right, cell.top, ETO_CLIPPED, &cell, L"D", 1, nullptr);
    }
    cell.left = cell.right;
    cell.right = SelectionLabelRect.right;
    ExtTextOutW(info.hdcOut, cell.right, cell.top, ETO_CLIPPED, &cell, text.c_str(), UINT(text.size()), nullptr);
}

void CXAxisRegion::RefreshLabel()
{
    HWND window = WindowRef ? *WindowRef : nullptr;
    if (!window || !IsWindowVisible(window)) return;
    const CWindowDC dc(window);
    if (!dc.Get()) return;
    CChartDrawInfo info(dc, dc, Graph.Owner, 0);
    if (!IsRectEmpty(&SelectionLabelRect)) FillRect(dc, &SelectionLabelRect, info.BackBrush);
    DrawCursorLabel(info);
}

void CXAxisRegion::DrawOffsetLabel(CChartDrawInfo& info, qvx::time timeOffset, double valueOffset, DWORD flags)
{
    if (!Task) return;
    const bool hasTime = timeOffset != 0 || (flags & FrameTime);
    const bool hasValue = valueOffset != 0.0 || (flags & FrameValue);
    if (!hasTime && !hasValue) return;

    HDC dc = info.hdcOut;
    const CAxisPainting painting(info);
    SetTextAlign(dc, TA_LEFT | TA_TOP);
    // Fields stop short of the cursor label, or of the axis's end before it has been drawn.
    const long limit = (IsRectEmpty(&SelectionLabelRect) ? Bounds.right : SelectionLabelRect.left) - 4;
    const int gap = GetDeviceCaps(info.hdcRef, LOGPIXELSX) / 16;
    long left = Bounds.left + 2;
    // Places one field at `left`, framed when asked, and moves `left` past it.
    const auto field = [&](std::wstring text, bool inflate, bool frame) {
        const SIZE size = Extent(info, text);
        RECT cell{left, Bounds.bottom - size.cy, std::min(left + size.cx + 2, limit), Bounds.bottom - 1};
        if (!IsRectEmpty(&cell)) DrawTextW(dc, text.data(), int(text.size()), &cell, DT_END_ELLIPSIS | DT_LEFT);
        if (inflate) InflateRect(&cell, 2, 1);
        if (frame && !IsRectEmpty(&cell)) FrameRect(dc, &cell, info.ForeBrush);
        left = cell.right + gap;
    };
    field(ModuleString(OffsetCaptionText, L"Offset: "), false, false);
    if (hasTime) field(Task->FormatTime(timeOffset, TimeDigits(), false, false, true), true, flags & FrameTime);
    if (hasValue) {
        CChannelDataItem* channel = Task->GetActiveChannel();
        int decimals = 0;
        std::wstring unit;
        if (channel) {
            // An offset is a difference: it converts by the unit's factor alone.
            valueOffset *= channel->ToDisplayUnit(1.0);
            decimals = channel->GetDecimalPlaces();
            unit = channel->GetUnitText().View();
        }
        wchar_t text[64];
        swprintf(text, 64, L"%.*f %ls", decimals, valueOffset, unit.c_str());
        field(text, true, flags & FrameValue);
    }
}

const wchar_t* CXAxisRegion::GetCursorText()
{
    CDataSelectionDataItem* selection = Task ? Task->GetActiveSelection() : nullptr;
    if (!selection) return nullptr;
    // No item of this chart turns a time into a distance: in distance mode the time has none.
    if (Task->IsDistanceMode()) return KeepCursorText(ModuleString(NoValueText, L"No Value").c_str());
    // Two cursors: how far the primary stands from the second, signed.
    if (Task->HasTwoCursors())
        return KeepCursorText(Task->FormatTimeDifference(Task->GetCursorTime(), TimeDigits(), false, false, true));
    return KeepCursorText(Task->FormatTime(Task->GetCursorTime(), TimeDigits(), false, false, true));
}

const wchar_t* CXAxisRegion::KeepCursorText(const wchar_t* text)
{
    if (!text) return nullptr;
    CursorText = text;
    return CursorText.c_str();
}

void CXAxisRegion::OnDataItemChanged(CDataItemBase*, DWORD flags)
{
    if (flags & AnyButCursor) Invalidate();
    if (flags & TaskCursorStale) RefreshLabel();
}

void CXAxisRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CChartRegionBase::OnDataItemRemoved(item);
    if (item == Task) Task = nullptr;
}

CRTCXAxisRegion::CRTCXAxisRegion(CGraphRegion& graph, CTaskDataItem* task)
    : CXAxisRegion(graph, task), RealTimeTask(dynamic_cast<CRTCTaskDataItem*>(task))
{
}

namespace {

// The chart's one live selection with a known first time; null before there is one.
CRTCDataSelectionDataItem* LiveSelection(CRTCTaskDataItem* task)
{
    auto* selection = static_cast<CRTCDataSelectionDataItem*>(task ? task->GetActiveSelection() : nullptr);
    if (!selection || selection->GetFirstDataTime() == CDataSelectionDataItem::UnknownTime) return nullptr;
    return selection;
}

} // namespace

void CRTCXAxisRegion::GetAxisTimeRange(qvx::time& first, qvx::time& last)
{
    CRTCDataSelectionDataItem* selection = LiveSelection(RealTimeTask);
    if (!selection) return;
    CXAxisRegion::GetAxisTimeRange(first, last);
    // The chart counts from its window's start; the axis from the run's first data.
    const qvx::time shift = selection->GetStartTime() - selection->GetFirstDataTime();
    first += shift;
    last += shift;
}

const wchar_t* CRTCXAxisRegion::GetCursorText()
{
    if (!RealTimeTask) return nullptr;
    qvx::time time = 0;
    if (CRTCDataSelectionDataItem* selection = LiveSelection(RealTimeTask)) {
        // Running, the label shows how long the run has lasted; paused, where the cursor stands.
        if (RealTimeTask->GetMode().IsRunning())
            time = selection->GetEndTime() - selection->GetFirstDataTime();
        else
            time = RealTimeTask->GetCursorTime() + selection->GetStartTime() - selection->GetFirstDataTime();
    }
    return KeepCursorText(RealTimeTask->FormatTime(time, TimeDigits(), false, false, true));
}

void CRTCXAxisRegion::OnDataItemChanged(CDataItemBase*, DWORD flags)
{
    if (flags & AnyButCursor) Invalidate();
    if (flags & TaskTimeSpanChanged) {
        if (CDataSelectionDataItem* selection = RealTimeTask ? RealTimeTask->GetActiveSelection() : nullptr)
            static_cast<CRTCDataSelectionDataItem*>(selection)->RefreshWindow();
    } else if (flags & TaskWindowMoved) {
        if (!IsRectEmpty(&Bounds)) {
            DirtyBits = DirtyAll;
            Invalidate();
        }
    } else if (flags & TaskCursorStale) {
        // A paused cursor moves the label alone.
        RefreshLabel();
    }
}

void CRTCXAxisRegion::OnDataItemRemoved(CDataItemBase* item)
{
    CXAxisRegion::OnDataItemRemoved(item);
    if (!Task) RealTimeTask = nullptr;
}
