// Files dragged from another application onto a real window under the X server:
// the drag source (tests/support/drag_source.cpp) is driven by
// tests/scripts/drag-files.sh, exactly as a user's drag from a file manager.
//
// The test runs this same executable a second time as the window program: with
// VELOTUNE_DROP_DEMO set, the demo below runs before the test framework starts and
// the process ends with it. The demo reports on stdout, one line per event.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <gtk/gtk.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "DropList.h"
#include "XControl.h"
#include "XWindowStd.h"

namespace {

// Where the demo window's view sits on the screen, clear of the drag source at the
// top-left corner (0,0 to 119,59), and its size. The right part of the view is a
// control that takes drops itself.
const int kViewLeft = 300, kViewTop = 200, kViewCx = 240, kViewCy = 160;
const XRect kBinRect(140, 20, 219, 139);

void Report(const std::string& line) {
    printf("%s\n", line.c_str());
    fflush(stdout);
}

// ---- the window program ----

// A control that accepts every system drag over it and reads what is dropped.
class BinControl : public XControl {
  public:
    int OnDrag(int, int) override { return 1; }
    void OnDragLeave() override { Report("bin leave"); }
    void OnDrop(OpaqueDragRef* drag, int, int) override {
        CDropList list(drag);
        Report("bin drop " + std::to_string(list.m_count));
        for (int i = 0; i < list.m_count; ++i) Report(std::string("bin path ") + list.GetPath(i));
    }
};

class DropWindow : public XWindow {
  public:
    int Drag(int x, int y, int phase) override {
        int target = XWindow::Drag(x, y, phase);
        Report("drag " + std::to_string(phase) + " " + std::to_string(x) + " " + std::to_string(y) +
               " " + std::to_string(target));
        return target;
    }
    int OnDrop(OpaqueDragRef* drag, int x, int y) override {
        CDropList list(drag);
        Report("drop " + std::to_string(list.m_count) + " " + std::to_string(x) + " " +
               std::to_string(y));
        for (int i = 0; i < list.m_count; ++i) Report(std::string("path ") + list.GetPath(i));
        Report("drop done");
        return 0;
    }
    int OnReady() override {
        // The view's screen place: the window's origin plus the view's offset in it.
        GtkWidget* top = GetGtkWindow();
        int ox = 0, oy = 0, vx = 0, vy = 0;
        gdk_window_get_origin(gtk_widget_get_window(top), &ox, &oy);
        gtk_widget_translate_coordinates(GetView(), top, 0, 0, &vx, &vy);
        gdk_display_sync(gtk_widget_get_display(top));
        Report("ready " + std::to_string(ox + vx) + " " + std::to_string(oy + vy));
        return 0;
    }
    int OnKeyDown(long key, long) override {
        if (key == 'q') gtk_main_quit();
        return 0;
    }
};

int RunDemo() {
    gtk_init(nullptr, nullptr);
    DropWindow w;
    char title[] = "drop demo";
    w.SetTitle(title);
    w.SetType(kWindowCloseBox);
    w.SetSize(kViewCx, kViewCy);
    w.EnableDropFile();
    w.Create();
    // Enabling drops again once the view exists must not make it report twice.
    w.EnableDropFile();
    w.SetPosition(kViewLeft, kViewTop);
    BinControl* bin = new BinControl;
    bin->SetWindowRect(kBinRect);
    bin->SetColorBack(XColor(0, 0, 255));
    w.AddControl(bin);
    w.Show();
    // Ends when the test closes the pipe or kills the process.
    gtk_main();
    return 0;
}

const int gDemo = [] {
    if (getenv("VELOTUNE_DROP_DEMO")) _exit(RunDemo());
    return 0;
}();

// ---- the test side ----

class DemoProcess {
  public:
    ~DemoProcess() { Stop(); }
    bool Start() {
        int fds[2];
        if (pipe(fds) != 0) return false;
        m_pid = fork();
        if (m_pid == 0) {
            dup2(fds[1], 1);
            close(fds[0]);
            close(fds[1]);
            setenv("VELOTUNE_DROP_DEMO", "1", 1);
            execl("/proc/self/exe", "drop_demo", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        m_fd = fds[0];
        return m_pid > 0;
    }
    // Waits (at most about 20 s) for the next line after the last one found that
    // starts with `prefix`, and returns it ("" when none came).
    std::string WaitFor(const std::string& prefix) {
        for (int i = 0; i < 400; ++i) {
            for (size_t k = m_next; k < m_lines.size(); ++k)
                if (m_lines[k].rfind(prefix, 0) == 0) {
                    m_next = k + 1;
                    return m_lines[k];
                }
            ReadSome(50);
        }
        return "";
    }
    // Marks the lines read so far as handled: later waits and Since() look past them.
    void Mark() {
        ReadAvailable();
        m_mark = m_next = m_lines.size();
    }
    // The lines since the last Mark, after collecting what has arrived.
    std::vector<std::string> Since() {
        ReadAvailable();
        return std::vector<std::string>(m_lines.begin() + static_cast<long>(m_mark), m_lines.end());
    }
    void Stop() {
        if (m_pid <= 0) return;
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
        close(m_fd);
        m_pid = -1;
    }

  private:
    void ReadAvailable() {
        for (int i = 0; i < 1000 && ReadSome(0); ++i) {
        }
    }
    bool ReadSome(int ms) {
        pollfd p{m_fd, POLLIN, 0};
        if (poll(&p, 1, ms) <= 0) return false;
        char buf[4096];
        ssize_t n = read(m_fd, buf, sizeof(buf));
        if (n <= 0) return false;
        m_partial.append(buf, static_cast<size_t>(n));
        size_t nl;
        while ((nl = m_partial.find('\n')) != std::string::npos) {
            m_lines.push_back(m_partial.substr(0, nl));
            m_partial.erase(0, nl + 1);
        }
        return true;
    }
    pid_t m_pid = -1;
    int m_fd = -1;
    std::vector<std::string> m_lines;
    size_t m_next = 0, m_mark = 0;
    std::string m_partial;
};

// Runs drag-files.sh: drops `paths` at screen (x, y), passing first through the
// points in `via` ("X,Y X,Y", may be empty). Returns the script's exit status.
int DragFiles(int x, int y, const std::vector<std::string>& paths, const std::string& via = "") {
    std::string cmd = "VELOTUNE_DRAG_SOURCE='" VELOTUNE_DRAG_SOURCE "' DRAG_VIA='" + via +
                      "' bash '" VELOTUNE_SOURCE_DIR "/tests/scripts/drag-files.sh' " +
                      std::to_string(x) + " " + std::to_string(y);
    for (const std::string& p : paths) cmd += " '" + p + "'";  // no quote in the test names
    int status = system(cmd.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Scratch() {
    const char* tmp = getenv("VELOTUNE_TEST_TMP");
    std::string dir = std::string(tmp ? tmp : "/tmp");
    mkdir(dir.c_str(), 0755);
    dir += "/dragdrop";
    mkdir(dir.c_str(), 0755);
    return dir;
}

void Touch(const std::string& path) {
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd >= 0) close(fd);
}

std::vector<std::string> Prefixed(const std::vector<std::string>& lines, const std::string& p) {
    std::vector<std::string> out;
    for (const std::string& l : lines)
        if (l.rfind(p, 0) == 0) out.push_back(l.substr(p.size()));
    return out;
}

class DragDropSystem : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(getenv("DISPLAY"), nullptr) << "needs the test X server";
        m_dir = Scratch();
        ASSERT_TRUE(m_demo.Start());
        std::string ready = m_demo.WaitFor("ready ");
        ASSERT_FALSE(ready.empty()) << "the window did not come up";
        ASSERT_EQ(sscanf(ready.c_str(), "ready %d %d", &m_left, &m_top), 2);
        m_demo.Mark();
    }
    std::string m_dir;
    DemoProcess m_demo;
    int m_left = 0, m_top = 0;  // the view's screen position
};

}  // namespace

TEST_F(DragDropSystem, DroppedFilesAndAFolderArriveAsExactPathsInOrder) {
    std::vector<std::string> paths = {m_dir + "/kick one.wav", m_dir + "/Klänge 1.wav",
                                      m_dir + "/100% snare.wav", m_dir + "/Drum Loops"};
    for (int i = 0; i < 3; ++i) Touch(paths[static_cast<size_t>(i)]);
    mkdir(paths[3].c_str(), 0755);

    ASSERT_EQ(DragFiles(m_left + 60, m_top + 40, paths), 0);
    ASSERT_FALSE(m_demo.WaitFor("drop done").empty());
    std::vector<std::string> lines = m_demo.Since();
    for (const std::string& l : lines) fprintf(stderr, "  demo: %s\n", l.c_str());

    // The window's OnDrop read every item through the drop list, in order; the
    // folder's path ends in "/", the files' do not.
    std::vector<std::string> drops = Prefixed(lines, "drop ");
    ASSERT_EQ(drops.size(), 2u);  // "drop 4 x y" and "drop done"
    int count = 0, x = 0, y = 0;
    ASSERT_EQ(sscanf(drops[0].c_str(), "%d %d %d", &count, &x, &y), 3);
    EXPECT_EQ(count, 4);
    std::vector<std::string> expected = {paths[0], paths[1], paths[2], paths[3] + "/"};
    EXPECT_EQ(Prefixed(lines, "path "), expected);
    // The drop point is window-local (the script ends on it after a one-pixel move).
    EXPECT_LE(std::abs(x - 60), 1);
    EXPECT_EQ(y, 40);

    // The drag entered (phase 0) first, then moved (phase 1) before the drop, and
    // no control took it.
    std::vector<std::string> drags = Prefixed(lines, "drag ");
    ASSERT_GE(drags.size(), 2u);
    EXPECT_EQ(drags[0].substr(0, 2), "0 ");
    EXPECT_EQ(drags[1].substr(0, 2), "1 ");
    for (const std::string& d : drags) EXPECT_EQ(d.back(), '0') << d;
    EXPECT_TRUE(Prefixed(lines, "bin ").empty());
}

TEST_F(DragDropSystem, ADragThatEntersAndLeavesWithoutDroppingEndsWithPhaseTwoAndNoDrop) {
    std::string file = m_dir + "/hat.wav";
    Touch(file);
    // Over the view, then away to an empty part of the screen, released there: no
    // one takes the drop.
    std::string via = std::to_string(m_left + 60) + "," + std::to_string(m_top + 40);
    EXPECT_EQ(DragFiles(60, 700, {file}, via), 3);
    std::string leave = m_demo.WaitFor("drag 2 ");
    ASSERT_FALSE(leave.empty());
    std::vector<std::string> lines = m_demo.Since();
    for (const std::string& l : lines) fprintf(stderr, "  demo: %s\n", l.c_str());

    std::vector<std::string> drags = Prefixed(lines, "drag ");
    ASSERT_GE(drags.size(), 2u);
    EXPECT_EQ(drags.front().substr(0, 2), "0 ");
    for (size_t i = 1; i + 1 < drags.size(); ++i) EXPECT_EQ(drags[i].substr(0, 2), "1 ");
    EXPECT_EQ(drags.back().substr(0, 2), "2 ");
    EXPECT_EQ(std::count_if(drags.begin(), drags.end(),
                            [](const std::string& d) { return d.rfind("2 ", 0) == 0; }),
              1);
    // The leave comes once, at the last place the drag was seen inside the view.
    int phase = 0, x = 0, y = 0;
    ASSERT_EQ(sscanf(drags.back().c_str(), "%d %d %d", &phase, &x, &y), 3);
    EXPECT_TRUE(x >= 0 && x < kViewCx && y >= 0 && y < kViewCy) << drags.back();
    EXPECT_TRUE(Prefixed(lines, "drop ").empty());
    EXPECT_TRUE(Prefixed(lines, "bin ").empty());
}

TEST_F(DragDropSystem, AControlThatTakesTheDragReceivesTheDropInsteadOfTheWindow) {
    std::string file = m_dir + "/crash 2.aif";
    Touch(file);
    ASSERT_EQ(DragFiles(m_left + 180, m_top + 80, {file}), 0);
    ASSERT_FALSE(m_demo.WaitFor("bin path ").empty());
    std::vector<std::string> lines = m_demo.Since();
    for (const std::string& l : lines) fprintf(stderr, "  demo: %s\n", l.c_str());

    EXPECT_EQ(Prefixed(lines, "bin drop "), std::vector<std::string>{"1"});
    EXPECT_EQ(Prefixed(lines, "bin path "), std::vector<std::string>{file});
    // The window's own OnDrop is not called, and the drop is not preceded by the
    // target being told that the drag left.
    EXPECT_TRUE(Prefixed(lines, "drop ").empty());
    EXPECT_TRUE(Prefixed(lines, "bin leave").empty());
    // The control became the target while the drag was over it.
    std::vector<std::string> drags = Prefixed(lines, "drag ");
    ASSERT_FALSE(drags.empty());
    EXPECT_EQ(drags.back().back(), '1') << drags.back();
}
