// Velotune's compiled-in pictures, its desktop entry and its demo sounds.
//
// The pictures are looked up the way the window looks them up (by name under
// "/velotune/"), decoded as PNG, and measured against the control that shows
// them: the window never scales a picture, so a picture of the wrong size would
// overlap its neighbours or leave a gap.
//
// This executable links only velotune_app, as the program does; the lookups
// succeed only if the resource's self-registering object file reached the
// link through it, which is what keeps the program's pictures from vanishing.

#include <cairo.h>
#include <gio/gio.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

// A control rectangle as the main window gives it: left, top, right, bottom,
// edges inclusive, so a control answers for right - left + 1 columns.
struct ControlRect {
    const char* picture;
    int left, top, right, bottom;
    int Width() const { return right - left + 1; }
    int Height() const { return bottom - top + 1; }
};

// The window is 400 wide; both panels span it, from row 35 to the bottom of a
// 135-row window, so 100 rows. The done button is placed from the settings
// panel's right edge (-45 .. -5).
const ControlRect kControls[] = {
    {"pan_main.png", 0, 35, 399, 134},   {"pan_sets.png", 0, 35, 399, 134},
    {"btn_stop.png", 114, 56, 127, 69},  {"btn_prev.png", 137, 47, 168, 78},
    {"btn_play.png", 173, 39, 220, 86},  {"btn_pause.png", 173, 39, 220, 86},
    {"btn_next.png", 225, 47, 256, 78},  {"icn_vol_l.png", 264, 53, 283, 69},
    {"icn_vol_m.png", 264, 53, 283, 69}, {"icn_vol_h.png", 264, 53, 283, 69},
    {"btn_info.png", 375, 5, 394, 24},   {"btn_home.png", 323, 33, 386, 64},
    {"btn_done.png", -45, 5, -5, 22},    {"velotune.png", 0, 0, 255, 255},
};

struct PngReader {
    const unsigned char* data;
    size_t size;
    size_t pos;
};

cairo_status_t ReadPng(void* closure, unsigned char* out, unsigned int length) {
    auto* r = static_cast<PngReader*>(closure);
    if (length > r->size - r->pos) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, r->data + r->pos, length);
    r->pos += length;
    return CAIRO_STATUS_SUCCESS;
}

// Decodes a resource as PNG; null when it is missing or does not decode.
cairo_surface_t* DecodeResource(const std::string& name) {
    const std::string path = "/velotune/" + name;
    GBytes* bytes = g_resources_lookup_data(path.c_str(), G_RESOURCE_LOOKUP_FLAGS_NONE, nullptr);
    if (!bytes) return nullptr;
    gsize size = 0;
    PngReader reader{static_cast<const unsigned char*>(g_bytes_get_data(bytes, &size)), size, 0};
    cairo_surface_t* surface = cairo_image_surface_create_from_png_stream(ReadPng, &reader);
    g_bytes_unref(bytes);
    if (cairo_surface_status(surface) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(surface);
        return nullptr;
    }
    return surface;
}

unsigned AlphaAt(cairo_surface_t* s, int x, int y) {
    cairo_surface_flush(s);
    const unsigned char* row =
        cairo_image_surface_get_data(s) + y * cairo_image_surface_get_stride(s);
    uint32_t pixel = 0;
    std::memcpy(&pixel, row + 4 * x, 4);
    return pixel >> 24;
}

}  // namespace

TEST(Resources, EveryPictureIsCompiledInAndDecodesAtTheSizeOfItsControl) {
    for (const ControlRect& c : kControls) {
        SCOPED_TRACE(c.picture);
        cairo_surface_t* s = DecodeResource(c.picture);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(cairo_image_surface_get_width(s), c.Width());
        EXPECT_EQ(cairo_image_surface_get_height(s), c.Height());
        cairo_surface_destroy(s);
    }
}

TEST(Resources, PictureSizesAreTheControlSizesWrittenOut) {
    // The same sizes as plain numbers, so that a change of a rectangle above
    // cannot silently move a picture's size with it.
    const struct {
        const char* picture;
        int width, height;
    } sizes[] = {{"pan_main.png", 400, 100}, {"pan_sets.png", 400, 100}, {"btn_stop.png", 14, 14},
                 {"btn_prev.png", 32, 32},   {"btn_play.png", 48, 48},   {"btn_pause.png", 48, 48},
                 {"btn_next.png", 32, 32},   {"btn_info.png", 20, 20},   {"btn_home.png", 64, 32},
                 {"btn_done.png", 41, 18},   {"icn_vol_l.png", 20, 17},  {"icn_vol_m.png", 20, 17},
                 {"icn_vol_h.png", 20, 17},  {"velotune.png", 256, 256}};
    ASSERT_EQ(sizeof sizes / sizeof sizes[0], sizeof kControls / sizeof kControls[0]);
    for (const auto& expected : sizes) {
        SCOPED_TRACE(expected.picture);
        cairo_surface_t* s = DecodeResource(expected.picture);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(cairo_image_surface_get_width(s), expected.width);
        EXPECT_EQ(cairo_image_surface_get_height(s), expected.height);
        cairo_surface_destroy(s);
    }
}

TEST(Resources, PanelBackgroundsAreOpaqueSoNothingShowsThroughThem) {
    for (const char* name : {"pan_main.png", "pan_sets.png"}) {
        SCOPED_TRACE(name);
        cairo_surface_t* s = DecodeResource(name);
        ASSERT_NE(s, nullptr);
        for (int y = 0; y < cairo_image_surface_get_height(s); ++y)
            for (int x = 0; x < cairo_image_surface_get_width(s); ++x)
                ASSERT_EQ(AlphaAt(s, x, y), 255u) << "at " << x << "," << y;
        cairo_surface_destroy(s);
    }
}

TEST(Resources, RoundButtonsLeaveTheirCornersTransparentForThePanelBehind) {
    for (const char* name : {"btn_stop.png", "btn_prev.png", "btn_play.png", "btn_next.png"}) {
        SCOPED_TRACE(name);
        cairo_surface_t* s = DecodeResource(name);
        ASSERT_NE(s, nullptr);
        const int w = cairo_image_surface_get_width(s);
        EXPECT_EQ(AlphaAt(s, 0, 0), 0u);
        EXPECT_EQ(AlphaAt(s, w - 1, w - 1), 0u);
        EXPECT_EQ(AlphaAt(s, w / 2, w / 2), 255u);
        cairo_surface_destroy(s);
    }
}

TEST(Resources, APictureThatWasNeverCompiledInIsNotFound) {
    GError* error = nullptr;
    GBytes* bytes =
        g_resources_lookup_data("/velotune/btn_missing.png", G_RESOURCE_LOOKUP_FLAGS_NONE, &error);
    EXPECT_EQ(bytes, nullptr);
    ASSERT_NE(error, nullptr);
    EXPECT_TRUE(g_error_matches(error, G_RESOURCE_ERROR, G_RESOURCE_ERROR_NOT_FOUND));
    g_error_free(error);
    EXPECT_EQ(DecodeResource("btn_missing.png"), nullptr);
}

TEST(Resources, PlayAndPauseDifferSoTheToggleShowsItsState) {
    cairo_surface_t* play = DecodeResource("btn_play.png");
    cairo_surface_t* pause = DecodeResource("btn_pause.png");
    ASSERT_NE(play, nullptr);
    ASSERT_NE(pause, nullptr);
    const size_t bytes = static_cast<size_t>(cairo_image_surface_get_stride(play)) *
                         cairo_image_surface_get_height(play);
    EXPECT_NE(
        std::memcmp(cairo_image_surface_get_data(play), cairo_image_surface_get_data(pause), bytes),
        0);
    cairo_surface_destroy(play);
    cairo_surface_destroy(pause);
}

TEST(Resources, DesktopEntryStartsVelotuneWithFilesAndClaimsTheAudioTypes) {
    GKeyFile* entry = g_key_file_new();
    const std::string path = std::string(VELOTUNE_SOURCE_DIR) + "/res/velotune.desktop";
    ASSERT_TRUE(g_key_file_load_from_file(entry, path.c_str(), G_KEY_FILE_NONE, nullptr));
    auto get = [&](const char* key) {
        gchar* v = g_key_file_get_string(entry, "Desktop Entry", key, nullptr);
        std::string s = v ? v : "";
        g_free(v);
        return s;
    };
    EXPECT_EQ(get("Name"), "Velotune");
    EXPECT_EQ(get("Exec"), "velotune %F");
    EXPECT_EQ(get("Icon"), "velotune");
    EXPECT_EQ(get("Categories"), "AudioVideo;Audio;Player;");
    gsize count = 0;
    gchar** types = g_key_file_get_string_list(entry, "Desktop Entry", "MimeType", &count, nullptr);
    ASSERT_NE(types, nullptr);
    std::vector<std::string> listed(types, types + count);
    g_strfreev(types);
    for (const char* t : {"audio/x-wav", "audio/wav", "audio/vnd.wave", "audio/x-aiff",
                          "audio/aiff", "audio/mpeg", "audio/mp3"}) {
        EXPECT_NE(std::find(listed.begin(), listed.end(), t), listed.end()) << t;
    }
    g_key_file_free(entry);
}

TEST(DemoSounds, EverySoundOpensInEveryFormatWithItsRateChannelsAndLength) {
    const struct {
        const char* name;
        int rate, channels;
        sf_count_t frames;
    } sounds[] = {{"pluck", 44100, 1, 66150}, {"kick", 48000, 1, 48000}, {"pad", 44100, 2, 132300}};
    const struct {
        const char* ext;
        int major;
    } formats[] = {{"wav", SF_FORMAT_WAV}, {"aif", SF_FORMAT_AIFF}, {"mp3", SF_FORMAT_MPEG}};
    for (const auto& sound : sounds) {
        for (const auto& format : formats) {
            const std::string path =
                std::string(VELOTUNE_BINARY_DIR) + "/demo/" + sound.name + "." + format.ext;
            SCOPED_TRACE(path);
            SF_INFO info{};
            SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
            ASSERT_NE(f, nullptr) << sf_strerror(nullptr);
            EXPECT_EQ(info.format & SF_FORMAT_TYPEMASK, format.major);
            EXPECT_EQ(info.samplerate, sound.rate);
            EXPECT_EQ(info.channels, sound.channels);
            // Decoding counts what is really there, whatever the header says.
            std::vector<float> block(4096 * static_cast<size_t>(info.channels));
            sf_count_t total = 0, got = 0;
            float peak = 0.0f;
            while ((got = sf_readf_float(f, block.data(), 4096)) > 0) {
                total += got;
                for (sf_count_t i = 0; i < got * info.channels; ++i)
                    peak = std::max(peak, std::fabs(block[i]));
            }
            sf_close(f);
            if (format.major == SF_FORMAT_MPEG) {
                // The encoder's gapless tag gives the exact length back; allow
                // one MPEG frame either way should a decoder not honour it.
                EXPECT_NEAR(static_cast<double>(total), static_cast<double>(sound.frames), 1152.0);
            } else {
                EXPECT_EQ(total, sound.frames);
            }
            // Audible, and not clipped.
            EXPECT_GT(peak, 0.3f);
            EXPECT_LE(peak, 1.0f);
        }
    }
}

TEST(Resources, DesktopEntryPassesTheDesktopFileValidator) {
    gchar* validator = g_find_program_in_path("desktop-file-validate");
    if (!validator) GTEST_SKIP() << "desktop-file-validate is not installed (desktop-file-utils)";
    const std::string path = std::string(VELOTUNE_SOURCE_DIR) + "/res/velotune.desktop";
    gchar* argv[] = {validator, const_cast<gchar*>(path.c_str()), nullptr};
    gchar* out = nullptr;
    gchar* err = nullptr;
    gint status = -1;
    ASSERT_TRUE(g_spawn_sync(nullptr, argv, nullptr, G_SPAWN_DEFAULT, nullptr, nullptr, &out, &err,
                             &status, nullptr));
    EXPECT_TRUE(g_spawn_check_wait_status(status, nullptr)) << out << err;
    // The validator prints hints and warnings even when it passes a file.
    EXPECT_STREQ(out, "");
    g_free(out);
    g_free(err);
    g_free(validator);
}
