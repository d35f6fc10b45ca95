// The time axis of the live chart over the substitute host: ticks, labels, the cursor and offset
// labels, and the distance axis.
#include <gtest/gtest.h>
#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>
#include "regions/XAxisRegion.h"
#include "items/ItemFlags.h"
#include "scales/NiceTicks.h"
#include "tests/ChartTestSupport.h"
#include "tests/SimTestSupport.h"

using namespace qvxtest;

namespace {

// What a paint put on a metafile: the texts in order, with where and how each was aligned, and
// where each line ended.
struct CPaintedText
{
    std::wstring Text;
    POINT At;
    UINT Alignment;
};
struct CPainted
{
    std::vector<CPaintedText> Texts;
    std::vector<POINT> Lines;
    UINT Alignment = 0;
    std::vector<std::wstring> Strings() const
    {
        std::vector<std::wstring> strings;
        for (const CPaintedText& text : Texts) strings.push_back(text.Text);
        return strings;
    }
};

int CALLBACK Record(HDC, HANDLETABLE*, const ENHMETARECORD* record, int, LPARAM data)
{
    auto& painted = *reinterpret_cast<CPainted*>(data);
    if (record->iType == EMR_SETTEXTALIGN) painted.Alignment = reinterpret_cast<const EMRSETTEXTALIGN*>(record)->iMode;
    if (record->iType == EMR_LINETO) {
        const POINTL end = reinterpret_cast<const EMRLINETO*>(record)->ptl;
        painted.Lines.push_back({end.x, end.y});
    }
    if (record->iType == EMR_EXTTEXTOUTW) {
        const EMRTEXT& text = reinterpret_cast<const EMREXTTEXTOUTW*>(record)->emrtext;
        const auto* chars = reinterpret_cast<const wchar_t*>(reinterpret_cast<const BYTE*>(record) + text.offString);
        painted.Texts.push_back({std::wstring(chars, text.nChars), POINT{text.ptlReference.x, text.ptlReference.y},
                                 painted.Alignment});
    }
    return 1;
}

// A live chart of 130 seconds whose window of 100 seconds has slid 30 seconds past the first
// data, with an axis of its own on a window of the test's.
class XAxis : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        Window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, WindowWidth + 1, 61, nullptr,
                                 nullptr, nullptr, nullptr);
        ASSERT_TRUE(Window);
        Attach(SessionTask);
        Advance(DataLength);
        Axis = std::make_unique<CRTCXAxisRegion>(*Chart->GraphRegion, &Task());
        Axis->WindowRef = &Window;
        Axis->SetBounds({0, 0, Width, 60});
    }
    void TearDown() override
    {
        Axis.reset();
        if (Window) DestroyWindow(Window);
        LiveChartTest::TearDown();
    }
    // Paints `draw` (the axis when none is given) into a metafile, measured against the screen.
    CPainted Paint(const std::function<void(CChartDrawInfo&)>& draw = {})
    {
        const CWindowDC screen(nullptr);
        HDC metafile = CreateEnhMetaFileW(screen, nullptr, nullptr, nullptr);
        {
            CChartDrawInfo info(metafile, screen, *Chart, 0);
            draw ? draw(info) : Axis->Draw(info);
        }
        HENHMETAFILE recorded = CloseEnhMetaFile(metafile);
        CPainted painted;
        EnumEnhMetaFile(nullptr, recorded, Record, &painted, nullptr);
        DeleteEnhMetaFile(recorded);
        return painted;
    }
    // The extent of `text` in the chart's font, or in its symbol face.
    SIZE Extent(const wchar_t* text, bool symbol = false)
    {
        SIZE size{};
        Paint([&](CChartDrawInfo& info) {
            SelectObject(info.hdcRef, symbol ? static_cast<HFONT>(info.hFontSymbol) : info.hFontNormal);
            info.GetTextExtent(text, size);
        });
        return size;
    }
    // The axis painted on its window, and the window then valid.
    void PaintOnWindow()
    {
        const CWindowDC dc(Window);
        CChartDrawInfo info(dc, dc, *Chart, 0);
        FillRect(dc, &Axis->Bounds, info.BackBrush);
        Axis->Draw(info);
        ValidateRect(Window, nullptr);
    }
    // Wide enough for a label every ten seconds in any font; the window, whose pixels are read
    // back, fits on the screen.
    static constexpr long Width = 2000;
    static constexpr long WindowWidth = 600;
    qvx::time DataLength = 130 * Second;
    HWND Window = nullptr;
    std::unique_ptr<CRTCXAxisRegion> Axis;
};

// The first 30 seconds of a run: the window stands at [0 s, 100 s].
class XAxisFilling : public XAxis
{
protected:
    XAxisFilling() { DataLength = 30 * Second; }
};

TEST_F(XAxisFilling, TicksStandOnTheBaseLineAndTheEndLabelsAreFlushWithTheEnds)
{
    // 3 and 6 points at 96 dots an inch, one pixel more.
    ASSERT_EQ(96, GetDeviceCaps(CWindowDC(nullptr), LOGPIXELSY));
    const long minorEnd = 5, majorEnd = 9;
    // The base line, then minor ticks every 2 s, then major ticks every 10 s with their labels.
    const CPainted painted = Paint();
    ASSERT_EQ(1u + 51u + 11u, painted.Lines.size());
    ASSERT_EQ(11u + 2u, painted.Texts.size());
    EXPECT_EQ(RectText({Width, 0, 0, 0}), RectText({painted.Lines[0].x, painted.Lines[0].y, 0, 0}));
    for (size_t i = 0; i < 51; ++i)
        EXPECT_TRUE(painted.Lines[1 + i].x == long(i) * Width / 50 && painted.Lines[1 + i].y == minorEnd) << i;
    for (size_t i = 0; i < 11; ++i) {
        const POINT major = painted.Lines[52 + i];
        const CPaintedText& label = painted.Texts[i];
        EXPECT_TRUE(major.x == long(i) * Width / 10 && major.y == majorEnd) << i;
        EXPECT_EQ(std::to_wstring(10 * i), label.Text);
        EXPECT_TRUE(label.At.x == major.x && label.At.y == majorEnd - 1) << i;
        EXPECT_EQ(i == 0 ? TA_LEFT : i == 10 ? TA_RIGHT : TA_CENTER, label.Alignment & (TA_RIGHT | TA_CENTER)) << i;
    }
}

// The labels follow the host's format and digits at the next paint; the cursor label tells the
// elapsed time while running and the cursor's time when paused.
TEST_F(XAxis, TheLabelsFollowTheHostsFormatAndTheCursorLabelTheControlMode)
{
    const std::vector<std::wstring> seconds{L"40", L"50", L"60", L"70", L"80", L"90", L"100", L"110", L"120", L"130"};
    const std::vector<std::wstring> minutes{L"40",   L"50",   L"1:00", L"1:10", L"1:20",
                                            L"1:30", L"1:40", L"1:50", L"2:00", L"2:10"};
    // How the row gets there, the host's format and digits, the labels (null: not compared), the
    // caption and the cursor's value.
    using Row = std::tuple<const char*, std::function<void()>, long, unsigned short, const std::vector<std::wstring>*,
                           const wchar_t*, const wchar_t*>;
    const Row rows[] = {
        // The window's end, which leads the data by part of a column of 0.1 s, is the time elapsed.
        {"seconds", [] {}, 0, 3, &seconds, L"Elapsed Time: ", L"130.100 sec"},
        {"minutes", [] {}, 1, 3, &minutes, L"Elapsed Time: ", L"02:10.100 min:sec"},
        {"hours", [] {}, 2, 1, &minutes, L"Elapsed Time: ", L"00:02:10.1 hr:min:sec"},
        // The cursor at 50 s of the chart's window, which starts 30.1 s into the run.
        {"paused", [&] { HostRuns(false), Task().SetCursor(50 * Second, 0); }, 0, 3, nullptr, L"Time: ", L"80.100 sec"},
    };
    for (const auto& [name, enter, format, digits, labels, captionText, cursorText] : rows) {
        SCOPED_TRACE(name);
        ASSERT_EQ(S_OK, Sim->SetTimeFormat(format));
        ASSERT_EQ(S_OK, Sim->SetTimeDigits(digits));
        enter();
        const CPainted painted = Paint();
        const std::vector<std::wstring> strings = painted.Strings();
        ASSERT_GE(strings.size(), 2u);
        if (labels) {
            EXPECT_EQ(*labels, std::vector<std::wstring>(strings.begin(), strings.end() - 2));
            // The base line, minor ticks every 2 s from 32 s and the ten majors.
            EXPECT_EQ(1u + 50u + 10u, painted.Lines.size());
        }
        const CPaintedText& caption = painted.Texts[painted.Texts.size() - 2];
        const CPaintedText& cursor = painted.Texts.back();
        EXPECT_EQ(std::wstring(captionText) + L"|" + cursorText, caption.Text + L"|" + cursor.Text);
        // Both stand on the last line, right-aligned, the value at the axis's right end and the
        // caption where the value begins.
        const SIZE captionSize = Extent(caption.Text.c_str()), cursorSize = Extent(cursor.Text.c_str());
        const RECT label = Axis->SelectionLabelRect;
        const LONG top = 60 - std::max(captionSize.cy, cursorSize.cy);
        EXPECT_EQ(RectText({Width - cursorSize.cx - captionSize.cx, top, Width, 60}), RectText(label));
        EXPECT_TRUE(cursor.At.x == Width && cursor.At.y == label.top && cursor.Alignment & TA_RIGHT);
        EXPECT_TRUE(caption.At.x == Width - cursorSize.cx && caption.At.y == label.top && caption.Alignment & TA_RIGHT);
    }
}

// A paused cursor's move repaints the label alone, as a full paint would; other news invalidates the
// axis. With two cursors a delta in the symbol face stands between caption and value.
TEST_F(XAxis, ACursorMoveRepaintsTheLabelAloneAndTwoCursorsPutADeltaBeforeTheDifference)
{
    Axis->SetBounds({0, 0, WindowWidth, 60});
    HostRuns(false);
    Task().SetCursor(50 * Second, 0);
    PaintOnWindow();
    const auto before = CaptureWindow(Window);
    const RECT label = Axis->SelectionLabelRect;
    ASSERT_FALSE(IsRectEmpty(&label));
    Task().SetCursor(61 * Second, 0);
    RECT update{};
    EXPECT_FALSE(GetUpdateRect(Window, &update, FALSE)) << "nothing is left for a paint";
    const auto after = CaptureWindow(Window);
    EXPECT_GT(Differences(*before, *after), 0) << "the label shows the new time";
    EXPECT_EQ(0, Differences(*before, *after, &label)) << "only the label's rectangle is painted";
    PaintOnWindow();
    EXPECT_EQ(0, Differences(*after, *CaptureWindow(Window))) << "the label reads as a full paint would show it";
    for (DWORD flags : {TaskTimeFormatStale, TaskWindowMoved, TaskTimeRangeStale | TaskCursorStale}) {
        PaintOnWindow();
        Axis->OnDataItemChanged(&Task(), flags);
        EXPECT_TRUE(GetUpdateRect(Window, &update, FALSE) && update.left == 0 && update.right == WindowWidth + 1)
            << std::hex << flags;
    }
    Axis->SetBounds({0, 0, Width, 60});
    Task().SetTwoCursors(true);
    const CPainted painted = Paint();
    ASSERT_GE(painted.Texts.size(), 3u);
    const CPaintedText& caption = painted.Texts[painted.Texts.size() - 3];
    const CPaintedText& delta = painted.Texts[painted.Texts.size() - 2];
    EXPECT_EQ(L"Time: |D", caption.Text + L"|" + delta.Text);
    // Each at the right end of its cell: the value at the axis's end, the delta a delta's width
    // after the caption.
    EXPECT_EQ(Width, painted.Texts.back().At.x);
    EXPECT_EQ(caption.At.x + Extent(L"D", true).cx, delta.At.x);
    EXPECT_LT(delta.At.x, Width);
    // A plain axis tells the primary cursor's distance from the second, signed.
    CXAxisRegion plain(*Chart->GraphRegion, &Task());
    Task().SetSecondCursorTime(Task().GetCursorTime() + 2 * Second);
    EXPECT_STREQ(L"-2.000 sec", plain.GetCursorText());
}

// The offset label shows the fields that have an offset or a frame. In distance mode the axis
// stands on nice steps of the distance, labelled as numbers with the decimals that the span allows.
TEST_F(XAxis, TheOffsetLabelsFieldsAndTheNiceStepsOfADistanceAxis)
{
    const std::tuple<qvx::time, DWORD, std::vector<std::wstring>> offsets[] = {
        {0, 0, {}},
        {5 * Second, 0, {L"Offset: ", L"5.000 sec"}},
        {0, 1, {L"Offset: ", L"0.000 sec"}},   // framed, so shown though zero
        {-Second / 2, 0, {L"Offset: ", L"-0.500 sec"}},
    };
    for (const auto& [time, flags, expected] : offsets) {
        const CPainted painted = Paint([&](CChartDrawInfo& info) { Axis->DrawOffsetLabel(info, time, 0.0, flags); });
        // A metafile context of Wine measures no text, so that every field seems too long for its
        // room and gets an ellipsis: what is left before it is the text.
        std::vector<std::wstring> texts = painted.Strings();
        for (std::wstring& text : texts)
            if (text.size() >= 3 && text.compare(text.size() - 3, 3, L"...") == 0) text.resize(text.size() - 3);
        EXPECT_EQ(expected, texts) << time << " " << flags;
    }
    Task().SetDistanceMode(true);
    HostRuns(false);
    const std::tuple<double, double, int> distances[] = {{100.0, 350.0, 0}, {2.0, 2.5, 1}, {0.0, 0.05, 2}};
    for (const auto& [from, to, decimals] : distances) {
        SCOPED_TRACE(to);
        Task().PushDistanceZoom(from, to);
        CAxisTicks ticks;
        const CPainted painted = Paint([&](CChartDrawInfo& info) {
            ASSERT_EQ(S_OK, Axis->GetDistanceTicks(info, ticks));
            Axis->Draw(info);
        });
        EXPECT_EQ(decimals, ticks.Decimals);
        EXPECT_TRUE(ticks.MajorStep > 0 && ticks.Maximum - ticks.Minimum <= 10 * ticks.MajorStep + 1e-9);
        // The first label is the first major value, as a number.
        ASSERT_FALSE(painted.Texts.empty());
        EXPECT_EQ(std::wstring(FormatNumber(ticks.MajorStart + 0.0, decimals, false, true)), painted.Texts[0].Text);
    }
}

} // namespace
