// A control inside a hidden parent stays off the screen when it changes.
#include <gtest/gtest.h>

#include "ControlHostDouble.h"
#include "XControl.h"

TEST(XControlHiddenParent, AControlOfAHiddenParentDoesNotDrawWhenRedrawnButStaysDirty) {
    ControlHostDouble host;
    XControl panel;
    panel.SetWindow(&host);
    panel.SetWindowRect(XRect(0, 0, 100, 100));
    XControl* bar = new XControl;
    bar->SetWindow(&host);
    bar->SetWindowRect(XRect(10, 10, 90, 14));
    panel.AddControl(bar);
    panel.Hide();
    host.drawn.clear();
    bar->Redraw();
    EXPECT_TRUE(host.drawn.empty()) << "a hidden panel's child drew itself";
    EXPECT_TRUE(bar->IsDirty()) << "it draws when the panel shows again";
    panel.Show();
    host.drawn.clear();
    bar->Redraw();
    ASSERT_EQ(host.drawn.size(), 1u);
    EXPECT_EQ(host.drawn[0], bar);
}
