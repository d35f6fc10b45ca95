// The drag and fragile managers at the head of a real window's message chain, driven by posted
// messages through the thread's pump: capture, cursor, what ends, cancels or swallows what.
#include <gtest/gtest.h>
#include <algorithm>
#include <functional>
#include <string>
#include <tuple>
#include <vector>
#include "tests/OleTestSupport.h"
#include "interaction/DragManager.h"
#include "interaction/FragileManager.h"

using namespace qvxtest;

namespace {

using Calls = std::vector<std::string>;
std::string At(POINT point) { return std::to_string(point.x) + "," + std::to_string(point.y); }

// Logs each call, and whether the manager still counted the mode as running during it.
class CRecordingDrag : public CDragModeBase
{
public:
    explicit CRecordingDrag(CDragManager& manager) : Manager(manager) {}
    BOOL Begin() override { return Log("Begin"), Allow; }
    void End() override { Log("End"); }
    void Cancel() override { Log("Cancel"); }
    void Track(const POINT* point) override
    {
        Log("Track " + At(*point));
        if (OnTrack) OnTrack();
    }
    DWORD GetFlags() override { return Flags; }
    HCURSOR GetCursor() override { return Cursor; }
    void Log(const std::string& call) { Seen.push_back(call + (Manager.ActiveMode == this ? "" : " (idle)")); }
    CDragManager& Manager;
    BOOL Allow = TRUE;
    DWORD Flags = DefaultFlags;
    HCURSOR Cursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32515));
    std::function<void()> OnTrack;
    Calls Seen;
};

// Answers a key or a command given to it with Takes.
class CRecordingFragile : public CFragileModeBase
{
public:
    BOOL Begin() override { return Log.push_back("Begin"), TRUE; }
    void End() override { Log.push_back("End"); }
    void OnKeyDown(UINT key, BOOL& handled) override { Log.push_back("Key " + std::to_string(key)), handled = Takes; }
    void OnCommand(WORD id, BOOL& handled) override { Log.push_back("Command " + std::to_string(id)), handled = Takes; }
    DWORD GetFlags() override { return Flags; }
    BOOL Takes = TRUE;
    DWORD Flags = FRAGILE_TAKES_KEYS;
    Calls Log;
};

// A window whose chain is the fragile manager, the drag manager, then a tail that plays a region:
// a left press starts `Mode`. The tail records what reaches it.
class Managers : public testing::Test
{
protected:
    void SetUp() override
    {
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = &Procedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.lpszClassName = L"QvxTestDragWindow";
        windowClass.hCursor = LoadCursorW(nullptr, MAKEINTRESOURCEW(32512));
        RegisterClassW(&windowClass);
        Window = CreateWindowExW(0, windowClass.lpszClassName, L"", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 100, 100, 300,
                                 200, nullptr, nullptr, windowClass.hInstance, nullptr);
        ASSERT_TRUE(Window);
        SetWindowLongPtrW(Window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
        // The window's activation and focus settle before the test posts anything.
        SetFocus(Window);
        PumpUntil([] { return false; }, 50);
        SetCursor(windowClass.hCursor);
        Original = GetCursor();
    }
    void TearDown() override
    {
        ReleaseCapture();
        if (Window) DestroyWindow(Window);
    }
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
    {
        auto* self = reinterpret_cast<Managers*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (!self) return DefWindowProcW(window, message, wParam, lParam);
        // Other programs of the test run take the focus away at any time, and the system repeats
        // the mouse where it stands: only the test's own focus loss (a wParam of 'A') and moves
        // (never where the mouse is) count.
        POINT mouse{};
        GetCursorPos(&mouse);
        ScreenToClient(window, &mouse);
        if (message == WM_KILLFOCUS && wParam != 'A') return 0;
        if (message == WM_MOUSEMOVE && MAKELPARAM(mouse.x, mouse.y) == lParam) return 0;
        LRESULT result = 0;
        if (self->Fragile.ProcessWindowMessage(window, message, wParam, lParam, result, 0)) return result;
        if (self->Drag.ProcessWindowMessage(window, message, wParam, lParam, result, 0)) return result;
        if (message == WM_LBUTTONDOWN) {
            const DWORD position = GetMessagePos();
            self->PressedAt = POINT{static_cast<short>(LOWORD(position)), static_cast<short>(HIWORD(position))};
            ScreenToClient(window, &self->PressedAt);
            self->Started = self->Drag.Start(&self->Mode);
        }
        self->Passed.push_back(message);
        // Kept from the default procedure, which would open menus on them.
        if (message == WM_RBUTTONUP || message == WM_CONTEXTMENU || message == WM_SYSKEYDOWN) return 0;
        return DefWindowProcW(window, message, wParam, lParam);
    }
    // Posts `message` and pumps until the window has taken it.
    void Post(UINT message, WPARAM wParam = 0, LPARAM lParam = 0)
    {
        PostMessageW(Window, message, wParam, lParam);
        PumpUntil([] { return false; }, 20);
    }
    // A left press at client point (x, y); the drag starts where the mouse was when it was posted.
    void Press(int x, int y)
    {
        Mode.Seen.clear();
        Passed.clear();
        Post(WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(x, y));
    }
    bool PassedOn(UINT message) const { return std::find(Passed.begin(), Passed.end(), message) != Passed.end(); }
    // Whether a drag of `mode` runs, with the capture and its cursor, or none, with neither.
    void ExpectRunning(bool running, CDragModeBase* mode)
    {
        EXPECT_EQ(running ? mode : nullptr, Drag.ActiveMode);
        EXPECT_EQ(running ? Window : nullptr, GetCapture());
        EXPECT_EQ(running ? mode->GetCursor() : Original, GetCursor());
    }
    HWND Window = nullptr;
    CDragManager Drag{&Window};
    CFragileManager Fragile{Drag};
    CRecordingDrag Mode{Drag};
    CRecordingFragile Keys;
    BOOL Started = FALSE;
    POINT PressedAt{};
    HCURSOR Original = nullptr;
    std::vector<UINT> Passed;
};

// A drag ends idle at the release and gives back the capture and the cursor; a refused Begin, a
// second start and a mode that ends itself at the press leave no other drag.
TEST_F(Managers, ADragTracksFromThePressAndGivesItAllBackAtTheRelease)
{
    // Posted far from where the mouse is: the drag starts where the mouse was at the press.
    Press(2000, 3000);
    ASSERT_TRUE(Started);
    ExpectRunning(true, &Mode);
    EXPECT_EQ(At(PressedAt), At(Drag.StartPoint));
    Post(WM_MOUSEMOVE, MK_LBUTTON, MAKELPARAM(-5, 30));
    EXPECT_EQ("-5,30", At(Drag.CurrentPoint));
    Post(WM_LBUTTONUP, 0, MAKELPARAM(40, 50));
    EXPECT_EQ((Calls{"Begin (idle)", "Track " + At(PressedAt), "Track -5,30", "Track 40,50", "End (idle)"}), Mode.Seen);
    ExpectRunning(false, &Mode);
    // The press reached its region; the drag's own messages did not.
    EXPECT_TRUE(PassedOn(WM_LBUTTONDOWN) && !PassedOn(WM_MOUSEMOVE) && !PassedOn(WM_LBUTTONUP));
    Mode.Allow = FALSE;
    Press(5, 6);
    EXPECT_TRUE(!Started && Mode.Seen == Calls{"Begin (idle)"});
    ExpectRunning(false, &Mode);
    Post(WM_LBUTTONUP, 0, MAKELPARAM(5, 6));
    EXPECT_TRUE(PassedOn(WM_LBUTTONUP));
    Mode.Allow = TRUE;
    Press(5, 6);
    CRecordingDrag second(Drag);
    EXPECT_TRUE(!Drag.Start(&second) && second.Seen.empty());
    ExpectRunning(true, &Mode);
    Post(WM_LBUTTONUP, 0, MAKELPARAM(7, 8));
    Mode.OnTrack = [&] { SendMessageW(Window, WM_CANCELMODE, 0, 0); };
    Press(5, 6);
    EXPECT_TRUE(!Started && GetCapture() == nullptr);
    EXPECT_EQ((Calls{"Begin (idle)", "Track " + At(PressedAt), "Cancel"}), Mode.Seen);
}

TEST_F(Managers, TheDragStartsWhereTheMouseWasAtThePressNotWhereItIsNow)
{
    POINT press{40, 30}, later{120, 90}, placed{};
    ClientToScreen(Window, &press);
    ClientToScreen(Window, &later);
    SetCursorPos(press.x, press.y);
    if (!GetCursorPos(&placed) || placed.x != press.x || placed.y != press.y)
        GTEST_SKIP() << "the mouse cannot be placed here";
    PumpUntil([] { return false; }, 20);
    PostMessageW(Window, WM_LBUTTONDOWN, MK_LBUTTON, MAKELPARAM(1, 1));
    SetCursorPos(later.x, later.y);
    PumpUntil([] { return false; }, 20);
    EXPECT_TRUE(Started && At(Drag.StartPoint) == "40,30") << At(Drag.StartPoint);
}

TEST_F(Managers, EachMessageOfARunningDragEndsCancelsSwallowsOrPassesAsItsModesFlagsSay)
{
    const DWORD Plain = CDragModeBase::DefaultFlags;
    const DWORD Thumb = DRAG_END_ON_LBUTTONUP | DRAG_SWALLOW_CONTEXTMENU;
    const DWORD AutoScroll = Plain | DRAG_END_ON_MBUTTONDOWN;
    // The mode's last call after the press ("" for none), whether the drag still runs, and
    // whether the message reaches the region behind the managers.
    const std::tuple<const char*, DWORD, UINT, WPARAM, const char*, bool, bool> rows[] = {
        {"a release of the left button ends it", Plain, WM_LBUTTONUP, 0, "End (idle)", false, false},
        {"a right press does not cancel it", Plain, WM_RBUTTONDOWN, 0, "", true, true},
        {"a right release with its flag", Plain | DRAG_END_ON_RBUTTONUP, WM_RBUTTONUP, 0, "End (idle)", false, false},
        {"a middle press ends the auto-scroll", AutoScroll, WM_MBUTTONDOWN, 0, "End (idle)", false, false},
        {"a middle release ends it", AutoScroll | DRAG_END_ON_MBUTTONUP, WM_MBUTTONUP, 0, "End (idle)", false, false},
        {"Escape cancels it", Plain, WM_KEYDOWN, VK_ESCAPE, "Cancel", false, false},
        {"Escape without its flag is swallowed", Thumb, WM_KEYDOWN, VK_ESCAPE, "", true, false},
        {"a command is swallowed", Plain, WM_COMMAND, 41001, "", true, false},
        {"the context menu cancels it and opens", Plain, WM_CONTEXTMENU, 0, "Cancel", false, true},
        {"a mode that keeps the context menu eats it", Thumb, WM_CONTEXTMENU, 0, "", true, false},
        {"a cancel of modes cancels it", Thumb, WM_CANCELMODE, 0, "Cancel", false, false},
    };
    for (const auto& [name, flags, message, wParam, effect, running, passesOn] : rows) {
        SCOPED_TRACE(name);
        Mode.Flags = flags;
        Press(5, 6);
        ASSERT_TRUE(Started);
        Passed.clear();
        const size_t before = Mode.Seen.size();
        Post(message, wParam, MAKELPARAM(7, 8));
        EXPECT_EQ(effect, Mode.Seen.size() > before ? Mode.Seen.back() : "");
        ExpectRunning(running, &Mode);
        EXPECT_EQ(passesOn, PassedOn(message));
        if (Drag.ActiveMode) Post(WM_CANCELMODE);
        ASSERT_EQ(nullptr, Drag.ActiveMode);
    }
}

TEST_F(Managers, AFragileModeTakesWhatItsFlagsSayAndBreaksOnAnythingElseWhichThenTakesItsEffect)
{
    const DWORD KeysOnly = FRAGILE_TAKES_KEYS;
    const DWORD Everything = FRAGILE_TAKES_KEYS | FRAGILE_TAKES_COMMANDS | FRAGILE_SURVIVES_CONTEXTMENU;
    // What the mode answers for a key or command given to it, its last call ("" for none),
    // whether it still runs and whether the message reaches the region.
    const std::tuple<const char*, DWORD, BOOL, UINT, const char*, bool, bool> rows[] = {
        {"a key it takes", KeysOnly, TRUE, WM_KEYDOWN, "Key 65", true, false},
        {"a key it leaves", KeysOnly, FALSE, WM_KEYDOWN, "Key 65", true, true},
        {"a key without its flag", FRAGILE_TAKES_COMMANDS, TRUE, WM_KEYDOWN, "End", false, true},
        {"a command it takes", Everything, TRUE, WM_COMMAND, "Command 65", true, false},
        {"the context menu", KeysOnly, TRUE, WM_CONTEXTMENU, "End", false, true},
        {"the context menu it survives", Everything, TRUE, WM_CONTEXTMENU, "", true, true},
        {"a click", Everything, TRUE, WM_LBUTTONDOWN, "End", false, true},
        {"a lost focus", Everything, TRUE, WM_KILLFOCUS, "End", false, true},
        {"a resize", Everything, TRUE, WM_SIZE, "End", false, true},
        {"a mouse move", Everything, TRUE, WM_MOUSEMOVE, "", true, true},
    };
    Mode.Allow = FALSE;   // the click of the table starts no drag
    for (const auto& [name, flags, takes, message, effect, running, passesOn] : rows) {
        SCOPED_TRACE(name);
        Keys.Log.clear();
        Keys.Flags = flags;
        Keys.Takes = takes;
        ASSERT_TRUE(Fragile.Start(&Keys));
        Passed.clear();
        Post(message, 'A', 0);
        EXPECT_EQ(effect, Keys.Log.size() > 1 ? Keys.Log.back() : "");
        EXPECT_TRUE(running == (Fragile.ActiveMode == &Keys) && passesOn == PassedOn(message));
        Fragile.Stop();
    }
    // A fragile mode stops the one before it; a click that breaks one starts a drag, during which
    // a key goes nowhere and no fragile mode starts.
    Mode.Allow = TRUE;
    CRecordingFragile first;
    ASSERT_TRUE(Fragile.Start(&first) && Fragile.Start(&Keys));
    EXPECT_EQ((Calls{"Begin", "End"}), first.Log);
    Keys.Log.clear();
    Press(5, 6);
    EXPECT_TRUE(Started && Keys.Log == Calls{"End"});
    Post(WM_KEYDOWN, VK_ADD);
    EXPECT_TRUE(!Fragile.Start(&Keys) && Drag.ActiveMode == &Mode);
}

} // namespace
