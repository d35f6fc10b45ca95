#pragma once
// A chart in place in a container's window, attached to the substitute host's live task.
#include "tests/ChartFrameTestSupport.h"
#include "tests/OleTestSupport.h"
#include "tests/SimTestSupport.h"

namespace qvxtest {

class LiveChartInPlace : public LiveChartTest
{
protected:
    void SetUp() override
    {
        ASSERT_NO_FATAL_FAILURE(LiveChartTest::SetUp());
        Site.Position = RECT{0, 0, 400, 240};
        ASSERT_EQ(S_OK, Query<IOleObject>(Owner)->SetClientSite(&Site));
        ASSERT_EQ(S_OK, Query<IOleObject>(Owner)->DoVerb(OLEIVERB_INPLACEACTIVATE, nullptr, &Site, 0,
                                                          Container.Window, &Site.Position));
        Window = Chart->Window;
        ASSERT_TRUE(Window);
        Attach(SessionTask);
    }
    void TearDown() override
    {
        if (CComPtr<IOleObject> object = Query<IOleObject>(Owner)) {
            object->Close(OLECLOSE_NOSAVE);
            object->SetClientSite(nullptr);
        }
        LiveChartTest::TearDown();
    }

    CContainerWindow Container;
    CTestSite Site{Container.Window};
    HWND Window = nullptr;
};

} // namespace qvxtest
