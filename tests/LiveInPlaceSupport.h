#pragma once
// A chart in place in a container's window, attached to the substitute host's live task.
#include "items/ChannelDataItem.h"
#include "tests/ChartFrameTestSupport.h"
#include "tests/OleTestSupport.h"
#include "tests/SimTestSupport.h"

namespace qvxtest {

// Sets a property of the chart's set of `channel`, as `type`.
inline void SetProperty(CChannelDataItem* channel, const wchar_t* name, double value, VARTYPE type = VT_R8)
{
    CVariant variant;
    variant.vt = VT_R8;
    variant.dblVal = value;
    ASSERT_EQ(S_OK, VariantChangeType(&variant, &variant, 0, type));
    ASSERT_EQ(S_OK, channel->GetProperties()->SetProperty(CBstr(name).Get(), variant));
}

// A container's window and site that put a chart in place and close it again.
class CInPlaceContainer
{
public:
    // In place at `position`; the chart's window, or null on a failure.
    HWND Activate(IUnknown* control, const RECT& position)
    {
        CComPtr<IOleObject> object = Query<IOleObject>(control);
        Site.Position = position;
        if (!object || FAILED(object->SetClientSite(&Site)) ||
            FAILED(object->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &Site, 0, Container.Window, &Site.Position)))
            return nullptr;
        return FindControlWindow(Container.Window);
    }
    void Close(IUnknown* control)
    {
        if (CComPtr<IOleObject> object = Query<IOleObject>(control)) {
            object->Close(OLECLOSE_NOSAVE);
            object->SetClientSite(nullptr);
        }
    }
    CContainerWindow Container;
    CTestSite Site{Container.Window};
};

// A live chart in place at Position, attached to the live task; with NewLayout, a new layout first
// brings the chart's channel property factory.
class LiveChartInPlace : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        if (NewLayout) {
            ASSERT_EQ(S_OK, InitNew(Owner));
        }
        Window = InPlace.Activate(Owner, Position);
        ASSERT_TRUE(Window);
        ASSERT_EQ(Chart->Window, Window);
        Attach(SessionTask);
    }
    void TearDown() override
    {
        InPlace.Close(Owner);
        LiveChartTest::TearDown();
    }
    // The whole window painted again; whether the paint came.
    bool Repaint()
    {
        InvalidateRect(Window, nullptr, FALSE);
        return PumpUntilPainted(Window);
    }
    CInPlaceContainer InPlace;
    HWND Window = nullptr;
    RECT Position{0, 0, 400, 240};
    bool NewLayout = false;
};

} // namespace qvxtest
