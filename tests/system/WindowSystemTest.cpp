// A real window under the X server: X events sent with xdotool reach its controls,
// messages from another thread arrive in order, and what is on screen is what the
// controls draw.
//
// The test runs this same executable a second time as the window program: with
// VELOTUNE_WINDOW_DEMO set, the demo below runs before the test framework starts
// and the process ends with it. The demo reports on stdout, one line per event.
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <poll.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "XControl.h"
#include "XWindowStd.h"

// The X window id of a GDK window. Declared here: the X headers' own XColor
// clashes with the library's.
extern "C" unsigned long gdk_x11_window_get_xid(GdkWindow* window);

namespace {

long long NowNs() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec * 1000000000LL + ts.tv_nsec;
}

long long SinceStart() {
    const char* start = getenv("VELOTUNE_DEMO_START_NS");
    return NowNs() - (start ? atoll(start) : 0);
}

void Report(const std::string& line) {
    printf("%s\n", line.c_str());
    fflush(stdout);
}

// ---- the window program ----

class DemoControl : public XControl {
  public:
    explicit DemoControl(const char* name) : m_name(name) {}
    int OnMouseDown(XMouseEvent* e) override {
        Report("down " + m_name + " " + std::to_string(e->Button()));
        return 1;
    }
    void OnMouseUp(XMouseEvent*) override { Report("up " + m_name); }
    int OnMouseWheel(int, int, int dx, int dy) override {
        Report("wheel " + m_name + " " + std::to_string(dx) + " " + std::to_string(dy));
        return 1;
    }
    std::string m_name;
};

class DemoWindow : public XWindow {
  public:
    void OnDrawn() {
        if (m_bFirstFrame) return;
        m_bFirstFrame = true;
        Report("frame " + std::to_string(SinceStart()));
    }
    int OnKeyDown(long key, long modifiers) override {
        Report("key " + std::to_string(key) + " " + std::to_string(modifiers));
        return 0;
    }
    int OnReady() override {
        GdkWindow* gw = gtk_widget_get_window(GetGtkWindow());
        Report("ready " + std::to_string(gdk_x11_window_get_xid(gw)));
        // A worker posts numbered messages; they must arrive in order.
        XWINDOW handle = GetHandle();
        m_worker = std::thread([handle] {
            XMessenger m;
            for (long i = 0; i < 50; ++i) m.PostWindowMsg(handle, 1000, i, 0);
        });
        return 0;
    }
    int OnMessage(unsigned long msg, long wParam, long) override {
        if (msg == 1000) Report("msg " + std::to_string(wParam));
        return 0;
    }
    int OnClose() override {
        Report("close " + std::to_string(GetReturn()));
        if (m_worker.joinable()) m_worker.join();
        gtk_main_quit();
        return 0;
    }
    bool m_bFirstFrame = false;
    std::thread m_worker;
};

// Marks the first frame once the view's draw handler (which draws the controls)
// has run.
gboolean AfterDraw(GtkWidget*, cairo_t*, gpointer data) {
    static_cast<DemoWindow*>(data)->OnDrawn();
    return FALSE;
}

int RunDemo() {
    Report("main " + std::to_string(SinceStart()));
    gtk_init(nullptr, nullptr);
    Report("toolkit " + std::to_string(SinceStart()));
    DemoWindow w;
    char title[] = "window demo";
    w.SetTitle(title);
    w.SetType(kWindowResizable | kWindowCloseBox);
    w.SetSize(240, 160);
    w.Create();
    DemoControl* red = new DemoControl("red");
    red->SetWindowRect(XRect(20, 20, 99, 79));
    red->SetColorBack(XColor(255, 0, 0));
    DemoControl* green = new DemoControl("green");
    green->SetWindowRect(XRect(120, 20, 219, 79));
    green->SetColorBack(XColor(0, 255, 0));
    DemoControl* blue = new DemoControl("blue");
    blue->SetWindowRect(XRect(20, 100, 219, 139));
    blue->SetColorBack(XColor(0, 0, 255));
    w.AddControl(red);
    w.AddControl(green);
    w.AddControl(blue);
    red->SetDoubleClick(green);
    g_signal_connect_after(w.GetView(), "draw", G_CALLBACK(AfterDraw), &w);
    w.Show();
    Report("shown " + std::to_string(SinceStart()));
    gtk_main();
    return 0;
}

const int gDemo = [] {
    if (getenv("VELOTUNE_WINDOW_DEMO")) _exit(RunDemo());
    return 0;
}();

// ---- the test side ----

class DemoProcess {
  public:
    bool Start() {
        int fds[2];
        if (pipe(fds) != 0) return false;
        std::string start = std::to_string(NowNs());
        m_pid = fork();
        if (m_pid == 0) {
            dup2(fds[1], 1);
            close(fds[0]);
            close(fds[1]);
            setenv("VELOTUNE_WINDOW_DEMO", "1", 1);
            setenv("VELOTUNE_DEMO_START_NS", start.c_str(), 1);
            execl("/proc/self/exe", "window_demo", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        m_fd = fds[0];
        return m_pid > 0;
    }
    // Waits (at most about 20 s) for a line starting with `prefix`; returns it.
    std::string WaitFor(const std::string& prefix) {
        for (int i = 0; i < 400; ++i) {
            m_used.resize(m_lines.size(), false);
            for (size_t k = 0; k < m_lines.size(); ++k)
                if (!m_used[k] && m_lines[k].rfind(prefix, 0) == 0) {
                    m_used[k] = true;  // each line answers one wait
                    return m_lines[k];
                }
            ReadSome(50);
        }
        return "";
    }
    // Collects whatever arrives within `ms`.
    void Drain(int ms) {
        for (int i = 0; i < ms / 50; ++i) ReadSome(50);
    }
    int Wait() {
        int status = 0;
        // About 10 s: once the child closed its output, ReadSome returns at once,
        // so the loop sleeps its 50 ms itself.
        for (int i = 0; i < 200; ++i) {
            if (waitpid(m_pid, &status, WNOHANG) == m_pid)
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            ReadSome(50);
            usleep(50 * 1000);
        }
        kill(m_pid, SIGKILL);
        waitpid(m_pid, &status, 0);
        return -2;
    }
    std::vector<std::string> m_lines;

  private:
    void ReadSome(int ms) {
        pollfd p{m_fd, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0) return;
        char buf[4096];
        ssize_t n = read(m_fd, buf, sizeof(buf));
        if (n <= 0) return;
        m_partial.append(buf, static_cast<size_t>(n));
        size_t nl;
        while ((nl = m_partial.find('\n')) != std::string::npos) {
            m_lines.push_back(m_partial.substr(0, nl));
            m_partial.erase(0, nl + 1);
        }
    }
    pid_t m_pid = -1;
    int m_fd = -1;
    std::vector<bool> m_used;
    std::string m_partial;
};

int Sh(const std::string& cmd) {
    return system(cmd.c_str());
}

bool Has(const std::vector<std::string>& lines, const std::string& line) {
    for (const std::string& l : lines)
        if (l == line) return true;
    return false;
}

}  // namespace

TEST(WindowSystem, RealXEventsReachTheControlsAndTheScreenShowsWhatTheyDraw) {
    ASSERT_NE(getenv("DISPLAY"), nullptr) << "needs the test X server";
    DemoProcess demo;
    ASSERT_TRUE(demo.Start());
    std::string frame = demo.WaitFor("frame ");
    ASSERT_FALSE(frame.empty()) << "no frame drawn";
    std::string ready = demo.WaitFor("ready ");
    ASSERT_FALSE(ready.empty());
    std::string id = ready.substr(6);
    long long ns = atoll(frame.substr(6).c_str());
    fprintf(stderr, "[ measure ] process start to first frame: %.1f ms\n", ns / 1e6);

    // Messages posted by the worker arrive in posting order.
    ASSERT_FALSE(demo.WaitFor("msg 49").empty());
    std::vector<long> order;
    for (const std::string& l : demo.m_lines)
        if (l.rfind("msg ", 0) == 0) order.push_back(atol(l.c_str() + 4));
    ASSERT_EQ(order.size(), 50u);
    for (long i = 0; i < 50; ++i) EXPECT_EQ(order[i], i);

    // The screen shows the three controls' colours over their whole rectangles.
    std::string tmp = getenv("VELOTUNE_TEST_TMP") ? getenv("VELOTUNE_TEST_TMP") : "/tmp";
    Sh("mkdir -p " + tmp);
    std::string shot = tmp + "/window_demo.rgb";
    ASSERT_EQ(Sh("import -window " + id + " -depth 8 rgb:" + shot), 0);
    std::ifstream in(shot, std::ios::binary);
    std::vector<unsigned char> px((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    ASSERT_EQ(px.size(), 240u * 160u * 3u);
    struct Area {
        int l, t, r, b;
        unsigned char rgb[3];
    } areas[] = {{20, 20, 99, 79, {255, 0, 0}},
                 {120, 20, 219, 79, {0, 255, 0}},
                 {20, 100, 219, 139, {0, 0, 255}}};
    for (const Area& a : areas) {
        int wrong = 0;
        for (int y = a.t; y <= a.b; ++y)
            for (int x = a.l; x <= a.r; ++x) {
                const unsigned char* p = &px[(y * 240 + x) * 3];
                if (p[0] != a.rgb[0] || p[1] != a.rgb[1] || p[2] != a.rgb[2]) ++wrong;
            }
        EXPECT_EQ(wrong, 0) << "area at " << a.l << "," << a.t;
    }
    // Just outside a control its colour does not show.
    const unsigned char* outside = &px[(10 * 240 + 10) * 3];
    EXPECT_FALSE(outside[0] == 255 && outside[1] == 0 && outside[2] == 0);

    // A click on the red control: button-down captured, then the button-up.
    ASSERT_EQ(Sh("xdotool mousemove --window " + id + " 50 50 click 1"), 0);
    EXPECT_FALSE(demo.WaitFor("down red 1").empty());
    EXPECT_FALSE(demo.WaitFor("up red").empty());
    // The right button is the secondary one.
    ASSERT_EQ(Sh("xdotool mousemove --window " + id + " 150 50 click 3"), 0);
    EXPECT_FALSE(demo.WaitFor("down green 2").empty());
    // A double click on red triggers its double-click control, green.
    ASSERT_EQ(Sh("xdotool mousemove --window " + id + " 50 50 click --repeat 2 --delay 80 1"), 0);
    EXPECT_FALSE(demo.WaitFor("down green 1").empty());
    // A wheel turn up over the blue control.
    ASSERT_EQ(Sh("xdotool mousemove --window " + id + " 100 120 click 4"), 0);
    EXPECT_FALSE(demo.WaitFor("wheel blue 0 1").empty());
    // A key, with shift.
    ASSERT_EQ(Sh("xdotool windowfocus --sync " + id + " key shift+a"), 0);
    std::string key = demo.WaitFor("key ");
    EXPECT_EQ(key, "key 65 1");
    // Escape with no cancel control closes the window with false.
    ASSERT_EQ(Sh("xdotool key Escape"), 0);
    EXPECT_FALSE(demo.WaitFor("close 0").empty());
    EXPECT_EQ(demo.Wait(), 0);
    for (const std::string& l : demo.m_lines) fprintf(stderr, "  demo: %s\n", l.c_str());
    EXPECT_FALSE(Has(demo.m_lines, "wheel blue 0 -1"));
}
