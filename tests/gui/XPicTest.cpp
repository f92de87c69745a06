// Pictures: PNG decoding from memory and from the executable's resources.
#include <cairo.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "XPic.h"

namespace {

// A w x h PNG, filled with one colour, encoded in memory.
std::string MakePng(int w, int h, double r, double g, double b, double a = 1.0) {
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* cr = cairo_create(s);
    cairo_set_operator(cr, CAIRO_OPERATOR_SOURCE);
    cairo_set_source_rgba(cr, r, g, b, a);
    cairo_paint(cr);
    cairo_destroy(cr);
    std::string out;
    cairo_surface_write_to_png_stream(
        s,
        [](void* closure, const unsigned char* data, unsigned int length) {
            static_cast<std::string*>(closure)->append(reinterpret_cast<const char*>(data), length);
            return CAIRO_STATUS_SUCCESS;
        },
        &out);
    cairo_surface_destroy(s);
    return out;
}

// The unpremultiplied colour of pixel (x, y).
uint32_t PixelAt(const XPic& pic, int x, int y) {
    cairo_surface_t* s = pic.GetHandle();
    cairo_surface_flush(s);
    const unsigned char* data = cairo_image_surface_get_data(s);
    return *reinterpret_cast<const uint32_t*>(data + y * cairo_image_surface_get_stride(s) + x * 4);
}

// Builds a small resource bundle holding `prefix` + "/" + `name` (a 5 x 4 PNG of
// colour (r, g, b)) with the resource compiler and registers it.
bool RegisterResource(const std::string& prefix, const std::string& name, double r, double g,
                      double b) {
    const char* tmp = std::getenv("VELOTUNE_TEST_TMP");
    std::string dir =
        std::string(tmp ? tmp : "/tmp") + "/xpic-" + std::to_string(getpid()) + "-" + name;
    if (g_mkdir_with_parents(dir.c_str(), 0755) != 0) return false;
    std::ofstream(dir + "/" + name, std::ios::binary) << MakePng(5, 4, r, g, b);
    std::ofstream(dir + "/test.gresource.xml")
        << "<?xml version=\"1.0\"?><gresources><gresource prefix=\"" << prefix << "\">"
        << "<file>" << name << "</file></gresource></gresources>";
    std::string cmd = "glib-compile-resources --sourcedir=" + dir + " --target=" + dir +
                      "/test.gresource " + dir + "/test.gresource.xml";
    if (std::system(cmd.c_str()) != 0) return false;
    GResource* res = g_resource_load((dir + "/test.gresource").c_str(), nullptr);
    if (!res) return false;
    g_resources_register(res);
    return true;
}

// "/velotune/test_gui_dot.png", green, registered once per process: the folder
// the test program's application identity names.
bool RegisterTestResource() {
    static int state = 0;  // 0 not tried, 1 registered, 2 failed
    if (state) return state == 1;
    state = RegisterResource("/velotune", "test_gui_dot.png", 0, 1, 0) ? 1 : 2;
    return state == 1;
}

}  // namespace

TEST(XPic, Color32Of300Minus5128And255PacksRed255Green0Blue128Alpha255) {
    unsigned int v = XPic::Color32(300, -5, 128, 255);
    EXPECT_EQ(v >> 24, 255u);          // alpha
    EXPECT_EQ((v >> 16) & 255, 255u);  // red
    EXPECT_EQ((v >> 8) & 255, 0u);     // green
    EXPECT_EQ(v & 255, 128u);          // blue
    EXPECT_EQ(XPic::Color32(1, 2, 3, -9), 0x00010203u);
}

TEST(XPic, SetDataDecodesAPngFromMemory) {
    std::string png = MakePng(7, 3, 1, 0, 0);
    XPic pic;
    EXPECT_FALSE(pic.Exist());
    ASSERT_TRUE(pic.SetData(png.data(), static_cast<int>(png.size())));
    EXPECT_TRUE(pic.Exist());
    EXPECT_EQ(pic.Width(), 7);
    EXPECT_EQ(pic.Height(), 3);
    EXPECT_EQ(PixelAt(pic, 6, 2), 0xFFFF0000u);
}

TEST(XPic, SetDataWithBytesThatAreNoPngFails) {
    XPic pic;
    const char junk[] = "not a picture at all";
    EXPECT_FALSE(pic.SetData(junk, sizeof junk));
    EXPECT_FALSE(pic.Exist());
    EXPECT_EQ(pic.Width(), 0);
    EXPECT_FALSE(pic.SetData(nullptr, 0));
    std::string png = MakePng(2, 2, 0, 0, 1);
    EXPECT_FALSE(pic.SetData(png.data(), static_cast<int>(png.size()) / 2));  // truncated
}

TEST(XPic, LoadPathLoadsNothingAndOnlyReportsWhetherAnImageIsHeld) {
    XPic pic;
    EXPECT_FALSE(pic.LoadPath("/usr/share/pixmaps/debian-logo.png"));
    EXPECT_FALSE(pic.Exist());
    std::string png = MakePng(2, 2, 0, 0, 1);
    pic.SetData(png.data(), static_cast<int>(png.size()));
    EXPECT_TRUE(pic.LoadPath("/nonexistent.png"));
}

TEST(XPic, LoadReadsAPictureFromTheResources) {
    ASSERT_TRUE(RegisterTestResource());
    XPic pic;
    ASSERT_TRUE(pic.Load("test_gui_dot.png"));
    EXPECT_EQ(pic.Width(), 5);
    EXPECT_EQ(pic.Height(), 4);
    EXPECT_EQ(PixelAt(pic, 4, 3), 0xFF00FF00u);
    XPic other;
    EXPECT_TRUE(other.GetResource("test_gui_dot", "png"));
    EXPECT_FALSE(other.GetResource("test_gui_none", "png"));
    EXPECT_FALSE(other.Exist());
}

TEST(XPic, LoadLooksInTheResourceFolderTheApplicationSet) {
    ASSERT_TRUE(RegisterTestResource());
    ASSERT_TRUE(RegisterResource("/another", "test_prefix_dot.png", 1, 0, 0));
    const char* set = XPic::GetResourcePrefix();
    EXPECT_STREQ(set, "/velotune/");  // what the test program's application set
    XPic pic;
    EXPECT_FALSE(pic.GetResource("test_prefix_dot", "png"));
    XPic::SetResourcePrefix("/another/");
    EXPECT_STREQ(XPic::GetResourcePrefix(), "/another/");
    ASSERT_TRUE(pic.Load("test_prefix_dot.png"));
    EXPECT_EQ(PixelAt(pic, 0, 0), 0xFFFF0000u);
    EXPECT_FALSE(pic.GetResource("test_gui_dot", "png"));
    XPic::SetResourcePrefix(nullptr);
    EXPECT_STREQ(XPic::GetResourcePrefix(), "/");
    XPic::SetResourcePrefix(set);
    EXPECT_TRUE(pic.GetResource("test_gui_dot", "png"));
}

TEST(XPicDeathTest, LoadingAMissingPicturePrintsItsNameAndFailsTheAssertion) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    XPic pic;
    // The name goes to standard output; send it where the death test reads.
    EXPECT_DEATH(
        {
            dup2(2, 1);
            pic.Load("no_such_picture.png");
        },
        "no_such_picture.png not found.*urlRef != 0");
}

TEST(XPic, CopiesShareTheImage) {
    std::string png = MakePng(2, 2, 0, 0, 1);
    XPic a;
    a.SetData(png.data(), static_cast<int>(png.size()));
    XPic b = a;
    EXPECT_EQ(a.GetHandle(), b.GetHandle());
    a.Clear();
    EXPECT_TRUE(b.Exist());
    EXPECT_EQ(PixelAt(b, 1, 1), 0xFF0000FFu);
}

TEST(XPic, SetLightScalesTheColourAndLeavesOtherCopiesAlone) {
    std::string png = MakePng(1, 1, 100 / 255.0, 200 / 255.0, 50 / 255.0);
    XPic a;
    a.SetData(png.data(), static_cast<int>(png.size()));
    XPic b = a;
    b.SetLight(1.5f);
    EXPECT_EQ(PixelAt(b, 0, 0), 0xFF96FF4Bu);  // 150, 300 -> 255, 75
    EXPECT_EQ(PixelAt(a, 0, 0), 0xFF64C832u);
}

TEST(XPic, SetSaturZeroMakesGrey) {
    std::string png = MakePng(1, 1, 1, 0, 0);
    XPic a;
    a.SetData(png.data(), static_cast<int>(png.size()));
    a.SetSatur(0.0f);
    uint32_t p = PixelAt(a, 0, 0);
    EXPECT_EQ((p >> 16) & 255, (p >> 8) & 255);
    EXPECT_EQ((p >> 8) & 255, p & 255);
    EXPECT_EQ(p >> 24, 255u);
}

TEST(XPic, SetColorTintsByGreyValue) {
    std::string png = MakePng(1, 1, 1, 1, 1);
    XPic a;
    a.SetData(png.data(), static_cast<int>(png.size()));
    a.SetColor(XColor(255, 0, 0, 255));
    EXPECT_EQ(PixelAt(a, 0, 0), 0xFFFF0000u);
}
