// The active trace, chosen or stepped through; the cursor on its samples; the zoom that keeps its
// value in view.
#include <gtest/gtest.h>
#include <cmath>
#include <limits>
#include "tests/ChannelTestSupport.h"

using namespace qvxtest;

namespace {

// Task 1 shows the live recording and the finished session; the reference lap is secondary.
constexpr size_t Live = 0;
constexpr size_t Session = 1;

class ActiveTrace : public ChannelItemTest
{
protected:
    void SetUp() override
    {
        ChannelItemTest::SetUp();
        Attach(SessionTask);
        ASSERT_EQ(S_OK, Attached->SetCurrentDataSelection(2));
        Show({L"Speed", L"RPM"});
        Task->NotifyChange(TaskActiveStale, 0);
    }
    long Current()
    {
        CComPtr<IQvxDataSelection> current;
        EXPECT_EQ(S_OK, Attached->GetCurrentDataSelection(current.Out()));
        for (CDataSelectionDataItem* selection : Task->GetSelections())
            if (SameObject(selection->GetSelection(), current)) return selection->GetIndex();
        return -1;
    }
    qvx::time HostCursor()
    {
        qvx::time time = -1;
        Attached->GetCursorTime(&time);
        return time;
    }
    // The cursor stands on a sample of `trace`.
    bool OnSample(CTraceDataItem* trace, qvx::time time)
    {
        qvx::time snapped = time;
        return trace->SnapToSample(snapped) && snapped == time;
    }
};

} // namespace

// Choosing a trace makes its selection current unless the host refuses; stepping runs through
// every trace of every channel and wraps.
TEST_F(ActiveTrace, IsTheActiveChannelsTraceOfTheCurrentSelectionWhichChoosingOrSteppingChanges)
{
    CChannelDataItem* active = Task->GetActiveChannel();
    ASSERT_TRUE(active == Channel(0) || active == Channel(1));
    EXPECT_EQ(active->GetTraces()[Session], Task->GetActiveTrace());
    EXPECT_EQ(Task->GetSelections()[Session], Task->GetActiveSelection());
    Task->SetActiveTrace(Channel(0), Trace(Live, 0));
    EXPECT_TRUE(Current() == 1 && Task->GetActiveTrace() == Trace(Live, 0));
    const std::pair<size_t, size_t> order[] = {{0, Session}, {1, Live}, {1, Session}, {0, Live}};
    for (const auto& [channel, selection] : order) {
        Task->ActivateNextTrace();
        ASSERT_EQ(Trace(selection, channel), Task->GetActiveTrace()) << channel << "," << selection;
    }
    Task->ActivatePreviousTrace();
    EXPECT_TRUE(Current() == 2 && Task->GetActiveTrace() == Trace(Session, 1));
    Task->SetActiveTrace(Channel(1), Trace(Live, 1));
    // A host that refuses keeps the current selection; only the channel changes.
    Fault(L"IQvxTask.SetCurrentDataSelection", E_FAIL);
    Task->SetActiveTrace(Channel(0), Trace(Session, 0));
    EXPECT_TRUE(Current() == 1 && Task->GetActiveTrace() == Trace(Live, 0));
    // A change of a selection's channels makes every channel rebuild its traces.
    for (CChannelDataItem* channel : Task->GetOrdering()->GetItems()) channel->Flags = 0;
    Task->OnChannelsChanged();
    for (CChannelDataItem* channel : Task->GetOrdering()->GetItems()) EXPECT_EQ(ChannelTracesStale, channel->Flags);
    // No channel shown: no trace, and the selection is the current one.
    Show({});
    Task->SetActiveChannel(nullptr);
    EXPECT_TRUE(!Task->GetActiveTrace() && Task->GetActiveSelection() == Task->GetSelections()[Live]);
}

TEST_F(ActiveTrace, TheActiveTraceIsFoundAgainWhenATraceBeforeItGoes)
{
    CChannelDataItem* active = Task->GetActiveChannel();
    Task->SetActiveTrace(active, active->GetTraces()[Session]);
    ASSERT_EQ(active->GetTraces()[Session], Task->GetActiveTrace());
    // The live recording goes with its trace: the session's trace moves up a place.
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(SessionTask, 1));
    ASSERT_EQ(1u, active->GetTraces().size());
    ASSERT_EQ(active->GetTraces()[0], Task->GetActiveTrace());
    CComPtr<IQvxDataSelection> current;
    ASSERT_EQ(S_OK, Attached->GetCurrentDataSelection(current.Out()));
    EXPECT_TRUE(SameObject(current, Task->GetActiveTrace()->GetSelection()->GetSelection()));
}

// The cursor steps from sample to sample of the active trace; a constrained cursor before the range
// goes to its first sample. A zoomed value out of view is centred, one in view left alone.
TEST_F(ActiveTrace, TheCursorStepsFromSampleToSampleAndItsValueIsKeptInView)
{
    CTraceDataItem* trace = Task->GetActiveTrace();
    ASSERT_TRUE(trace);
    Task->SetCursor(10 * Second + 1, 0);
    const qvx::time start = HostCursor();
    EXPECT_TRUE(OnSample(trace, start)) << "snapped to a sample";
    Task->NotifyChange(TaskCursorStale, 0);
    Task->CursorToNextSample();
    qvx::time next = HostCursor();
    EXPECT_TRUE(next > start && OnSample(trace, next));
    ASSERT_TRUE(trace->ToPreviousSample(next));
    EXPECT_EQ(start, next) << "no sample skipped";
    Task->NotifyChange(TaskCursorStale, 0);
    Task->CursorToPreviousSample();
    EXPECT_EQ(start, HostCursor());
    qvx::time first = 0, last = 0;
    ASSERT_TRUE(trace->ToFirstSample(first) && trace->ToLastSample(last));
    Task->CursorToFirstSample();
    EXPECT_EQ(first, HostCursor());
    Task->CursorToLastSample();
    EXPECT_EQ(last, HostCursor());
    EXPECT_GT(last, 190 * Second);
    Task->PushTimeZoom(50 * Second, 60 * Second);
    Task->NotifyChange(TaskTimeRangeStale, 0);
    ASSERT_TRUE(Task->HasTimeRange());
    Task->SetCursor(5 * Second, 1);
    const qvx::time cursor = HostCursor();
    EXPECT_TRUE(cursor >= 50 * Second && OnSample(Task->GetActiveTrace(), cursor)) << cursor;
    qvx::time before = cursor;
    ASSERT_TRUE(Task->GetActiveTrace()->ToPreviousSample(before));
    EXPECT_LT(before, 50 * Second) << "the first sample inside the range";
    Set(L"Speed", L"Display minimum", VT_R8, 0.0);
    Set(L"Speed", L"Display maximum", VT_R8, 400.0);
    CChannelDataItem* speed = Task->GetOrdering()->GetItems().at(size_t(Task->GetOrdering()->IndexOf(L"Speed") - 1));
    Task->SetActiveTrace(speed, speed->GetTraces()[Session]);
    Task->SetCursor(55 * Second, 0);
    Task->NotifyChange(TaskCursorStale, 0);
    double value = 0.0;
    ASSERT_EQ(S_OK, Task->GetActiveTrace()->GetValueAtCursor(value));
    // A zoom a twentieth high that leaves the value out.
    const double place = (value - speed->GetScaleMinimum(0)) / (speed->GetScaleMaximum(0) - speed->GetScaleMinimum(0));
    Task->PushYZoom(place > 0.5 ? CYZoom{0.0, 0.05} : CYZoom{0.95, 1.0});
    ASSERT_FALSE(speed->GetScaleMinimum(1) <= value && value <= speed->GetScaleMaximum(1));
    Task->EnsureActiveValueVisible();
    EXPECT_TRUE(speed->GetScaleMinimum(1) <= value && value <= speed->GetScaleMaximum(1));
    EXPECT_NEAR(0.05, Task->GetYZoom().High - Task->GetYZoom().Low, 1e-12) << "the height is kept";
    EXPECT_NEAR(place, (Task->GetYZoom().High + Task->GetYZoom().Low) / 2, 1e-9) << "centred";
    const CYZoom centred = Task->GetYZoom();
    Task->EnsureActiveValueVisible();
    EXPECT_EQ(centred, Task->GetYZoom());
}

// A difference of times is signed, in the host's format.
TEST_F(ChannelItemTest, TimeDifferencesAreSignedInTheHostsFormat)
{
    wchar_t separator[4] = {};
    ASSERT_GT(GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 4), 0);
    Sim->SetTimeFormat(1);
    Task->NotifyChange(TaskTimeFormatStale, 0);
    EXPECT_EQ(L"+00:02" + std::wstring(separator) + L"5",
              std::wstring(Task->FormatTimeDifference(25 * Second / 10, 3, false, true, false)));
    EXPECT_EQ(L"-00:02" + std::wstring(separator) + L"500 min:sec",
              std::wstring(Task->FormatTimeDifference(-25 * Second / 10, 3, false, false, true)));
}

// A NaN at the cursor leaves the vertical zoom and the scales as they were; a zoom or scale end
// that is no number is refused.
TEST_F(ChannelItemTest, NoNumberReachesTheVerticalZoomOrTheScales)
{
    Attach(ArchiveTask);
    Show({L"Fuel flow"});
    CTraceDataItem* fuel = Task->GetActiveTrace();
    ASSERT_TRUE(fuel);
    // The throttle lifts somewhere: there the channel has no value.
    double value = 0.0;
    qvx::time at = 0;
    for (; at < 120 * Second; at += Second / 10) {
        ASSERT_EQ(S_OK, Attached->SetCursorTime(at));
        Task->NotifyChange(TaskCursorStale, 0);
        if (SUCCEEDED(fuel->GetValueAtCursor(value)) && std::isnan(value)) break;
    }
    ASSERT_LT(at, 120 * Second) << "no NaN found";
    Task->PushYZoom({0.9, 1.0});
    Task->EnsureActiveValueVisible();
    EXPECT_EQ((CYZoom{0.9, 1.0}), Task->GetYZoom());
    EXPECT_TRUE(std::isfinite(Channel()->GetScaleMinimum(1)) && std::isfinite(Channel()->GetScaleMaximum(1)));
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    for (const CYZoom& zoom : {CYZoom{nan, 0.5}, CYZoom{0.5, inf}, CYZoom{-inf, 0.5}}) {
        Task->ClearYZoom();
        Task->PushYZoom(zoom);
        EXPECT_TRUE(Task->GetYZoomLevels().empty()) << zoom.Low << " " << zoom.High;
        Task->PushYZoom({0.2, 0.4});
        Task->ReplaceYZoom(zoom, 1);
        EXPECT_EQ((CYZoom{0.2, 0.4}), Task->GetYZoom()) << zoom.Low << " " << zoom.High;
    }
    Set(L"Speed", L"Display maximum", VT_R8, inf);
    Set(L"Fuel flow", L"Autoscale", VT_BOOL, -1);
    Show({L"Speed", L"Fuel flow"});
    for (size_t place : {0, 1})
        for (int zoomed : {0, 1})
            EXPECT_TRUE(std::isfinite(Channel(place)->GetScaleMinimum(zoomed)) &&
                        std::isfinite(Channel(place)->GetScaleMaximum(zoomed)))
                << place;
}
