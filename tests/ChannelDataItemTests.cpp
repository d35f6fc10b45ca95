// The channel item over the substitute host: its lazily read properties, the scale with units,
// autoscale and the vertical zoom, and what a property notification does to its traces.
#include <cfloat>
#include "tests/ChannelTestSupport.h"

using namespace qvxtest;

TEST_F(ChannelItemTest, AConstantChannelScalesToAHundredthOfItsUnitEitherSide)
{
    // Five milliseconds of a channel sampled at 100 Hz hold one sample.
    ASSERT_EQ(S_OK, Sim->AddDataSelection(ArchiveTask, 9, Second / 200, VARIANT_FALSE));
    ASSERT_EQ(S_OK, Sim->RemoveDataSelection(ArchiveTask, 1));
    Attach(ArchiveTask);
    Set(L"Speed", L"Autoscale", VT_BOOL, -1);
    Show({L"Speed"});
    const double value = SampleAt(Trace(), 0);
    // A hundredth of a km/h, in m/s.
    EXPECT_DOUBLE_EQ(value - 0.01 / 3.6, Channel()->GetScaleMinimum(0));
    EXPECT_DOUBLE_EQ(value + 0.01 / 3.6, Channel()->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, AutoscaleSpansEveryTraceWithAFivePercentMargin)
{
    Attach(SessionTask);
    Show({L"Speed"});
    CChannelDataItem* speed = Channel();
    ASSERT_EQ(2u, speed->GetTraces().size());
    EXPECT_DOUBLE_EQ(300.0 / 3.6, speed->GetScaleMaximum(0));
    CListeningRegion listener(speed);
    Set(L"Speed", L"Autoscale", VT_BOOL, -1);
    EXPECT_EQ(std::vector<DWORD>{ChannelAutoscaleStale | ChannelRangeStale}, listener.Heard);
    // The extremes of each series, summed up in one bin.
    double low = DBL_MAX, high = -DBL_MAX;
    for (CTraceDataItem* trace : speed->GetTraces()) {
        CStatisticsCalculator<qvx::time, CMinMaxStatsBin, false> all(1 << 30);
        all.Calculate(Series(trace), trace->GetSelection()->GetStartTime(), trace->GetSelection()->GetEndTime());
        low = std::min(low, all.Minimum);
        high = std::max(high, all.Maximum);
    }
    EXPECT_DOUBLE_EQ(low - (high - low) * 0.05, speed->GetScaleMinimum(0));
    EXPECT_DOUBLE_EQ(high + (high - low) * 0.05, speed->GetScaleMaximum(0));
}

TEST_F(ChannelItemTest, APropertyChangeMakesEveryTraceBuildItsCalculatorAgainAndKeepsTheTraces)
{
    Attach(SessionTask);
    Show({L"Speed"});
    CTraceDataItem* live = Trace(0);
    CTraceDataItem* session = Trace(1);
    using CExtremes = CStatisticsCalculator<qvx::time, CMinMaxStatsBin, true>;
    EXPECT_TRUE(dynamic_cast<CExtremes*>(session->GetStatisticsCalculator())) << "nobody wants a mean";
    session->AddStatisticsUser(this);
    using CLinear = CStatisticsCalculator<qvx::time, CLinearStatsBin<qvx::time>, true>;
    EXPECT_TRUE(dynamic_cast<CLinear*>(session->GetStatisticsCalculator()));

    CListeningRegion listener(live);
    Set(L"Speed", L"Interpolation", VT_I4, 1);
    EXPECT_EQ(std::vector<DWORD>{TraceCalculatorStale}, listener.Heard);
    EXPECT_TRUE(session->Flags & TraceCalculatorStale);
    using CHold = CStatisticsCalculator<qvx::time, CHoldStatsBin<qvx::time>, true>;
    EXPECT_TRUE(dynamic_cast<CHold*>(session->GetStatisticsCalculator()));
    // A data change builds it too.
    qvx::time from = live->GetSelection()->GetStartTime(), to = from;
    live->OnDataChanged(nullptr, &from, &to);
    EXPECT_FALSE(live->Flags & TraceCalculatorStale);
    // A notification of all properties keeps the traces.
    CChannelDataItem* speed = Channel();
    CListeningRegion channelListener(speed);
    listener.Heard.clear();
    speed->OnPropertyChanged(nullptr, nullptr);
    EXPECT_EQ(std::vector<DWORD>{~ChannelTracesStale}, channelListener.Heard);
    EXPECT_EQ((std::vector<DWORD>{TraceColorChanged, TraceCalculatorStale}), listener.Heard);
    EXPECT_FALSE(speed->Flags & ChannelTracesStale);
    EXPECT_EQ(live, Trace(0));
}

// The scale is the display range in the quantity's base unit; y-axis percentages switch the
// vertical zoom off.
TEST_F(ChannelItemTest, TheScaleIsInTheBaseUnitAndYAxisPercentagesSwitchTheVerticalZoomOff)
{
    Attach(ArchiveTask);
    Show({L"Speed", L"Fuel flow"});
    CChannelDataItem* speed = Channel();
    EXPECT_EQ(L"km/h", std::wstring(speed->GetUnitText().View()));
    EXPECT_EQ(0.0, speed->GetScaleMinimum(1));
    EXPECT_DOUBLE_EQ(300.0 / 3.6, speed->GetScaleMaximum(1));
    EXPECT_DOUBLE_EQ(36.0, speed->ToDisplayUnit(10.0));
    EXPECT_EQ(L"l/h", std::wstring(Channel(1)->GetUnitText().View())) << "no quantity: the user type";
    Task->PushYZoom({0.5, 1.0});
    const double bottom = speed->GetScaleMinimum(0), top = speed->GetScaleMaximum(0);
    const double middle = bottom + (top - bottom) * 0.5;
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    ASSERT_EQ(S_OK, speed->SetYPercentMinimum(20.0));
    ASSERT_EQ(S_OK, speed->SetYPercentMaximum(60.0));
    EXPECT_EQ(100.0, speed->GetYPercentMaximum()) << "while the percentages are off";
    ASSERT_EQ(S_OK, speed->SetYPercentEnabled(1));
    EXPECT_EQ(60.0, speed->GetYPercentMaximum());
    EXPECT_EQ(bottom, speed->GetScaleMinimum(1));
    EXPECT_EQ(top, speed->GetScaleMaximum(1));
    // The whole axis (the setters clamp) lets the zoom apply.
    ASSERT_EQ(S_OK, speed->SetYPercentMinimum(-5.0));
    ASSERT_EQ(S_OK, speed->SetYPercentMaximum(150.0));
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    // The host's shared percentages switch it off too, until they are cleared.
    Set(L"Speed", L"Y-axis % minimum", VT_R8, 10.0, true);
    Set(L"Speed", L"Y-axis % enabled", VT_BOOL, -1, true);
    EXPECT_EQ(10.0, speed->GetDefaultYPercentMinimum());
    EXPECT_EQ(bottom, speed->GetScaleMinimum(1));
    ASSERT_EQ(S_OK, speed->ClearDefaultYPercentEnabled());
    EXPECT_EQ(0.0, speed->GetDefaultYPercentMinimum());
    EXPECT_DOUBLE_EQ(middle, speed->GetScaleMinimum(1));
    // A failing converter keeps the symbol that it gave.
    Fault(L"GetUnitText", E_FAIL);
    Set(L"Speed", L"Unit", VT_I4, 2);
    EXPECT_EQ(2, speed->GetUnit());
    EXPECT_EQ(L"km/h", std::wstring(speed->GetUnitText().View()));
    // A burst of changes costs one read, and more than nine places read as nine.
    for (double places : {4.0, 7.0, 12.0}) Set(L"Speed", L"Decimal places", VT_I4, places);
    Sim->ResetCallCounts();
    EXPECT_EQ(9, speed->GetDecimalPlaces());
    EXPECT_EQ(9, speed->GetDecimalPlaces());
    EXPECT_EQ(1, Calls(L"IQvxPropertySet.GetProperty"));
}
