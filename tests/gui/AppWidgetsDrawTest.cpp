// Pixel tests of the application's own widgets.
#include <gtest/gtest.h>

#include "../quvlib/ControlHostDouble.h"
#include "ControlCanvas.h"
#include "XPanel.h"
#include "XTogVol.h"

TEST(XPanelDraw, ThePanelIsARoundedRectangleInTheForeColour) {
    ControlCanvas canvas(60, 40);
    XPanel panel(nullptr, XRect(0, 0, 49, 29), -1);
    panel.PlaceIn(XRect(0, 0, 59, 39));
    panel.SetMinRect(XRect(10, 10, 20, 20));
    panel.SetZoom(0.0f);  // the zoom does not change the drawing
    canvas.Draw(&panel);
    EXPECT_EQ(canvas.At(25, 15), XColor(20, 20, 40, 255));
    EXPECT_EQ(canvas.At(0, 15), XColor(20, 20, 40, 255));
    EXPECT_EQ(canvas.At(49, 15), XColor(20, 20, 40, 255));
    EXPECT_TRUE(canvas.IsWhite(0, 0));
    EXPECT_TRUE(canvas.IsWhite(49, 29));
    EXPECT_TRUE(canvas.IsWhite(50, 15));
}

TEST(XTogVolDraw, ThePictureOfTheCurrentLevelIsDrawn) {
    ControlCanvas canvas(40, 40);
    ControlHostDouble host;
    XTogVol vol(nullptr, XRect(0, 0, 29, 29), 10);
    PlaceControl(&vol, &host);
    canvas.Draw(&vol);
    EXPECT_FALSE(canvas.Inked(XRect(0, 0, 39, 39)));  // no picture: nothing
    vol.AddPic("icn_vol_l.png");
    vol.AddPic("icn_vol_m.png");
    vol.AddPic("icn_vol_h.png");
    ControlCanvas high(40, 40), low(40, 40);
    high.Draw(&vol);
    EXPECT_TRUE(high.Inked(XRect(0, 0, 39, 39)));
    XMouseEvent e;
    e.SetClick(3, 3, 1);
    vol.MouseDown(&e);
    low.Draw(&vol);
    bool differs = false;
    for (int y = 0; y < 40; ++y)
        for (int x = 0; x < 40; ++x) differs = differs || high.At(x, y) != low.At(x, y);
    EXPECT_TRUE(differs);
}
