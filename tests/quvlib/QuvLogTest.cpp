#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "QuvLog.h"
#include "UDir.h"

namespace {

// Gives the tests a look at the class-wide state.
class Log : public QuvLog {
  public:
    static bool IsOpen() { return m_hLog.load() != nullptr; }
    static long Users() { return m_refCounter.load(); }
    const char* Buffer() const { return m_stemp; }
};

std::string Scratch(const std::string& name) {
    const char* base = getenv("VELOTUNE_TEST_TMP");
    std::string dir = base && *base ? base : VELOTUNE_BINARY_DIR "/testtmp";
    mkdir(dir.c_str(), 0777);
    dir += "/quvlog";
    mkdir(dir.c_str(), 0777);
    const std::string path = dir + "/" + name;
    unlink(path.c_str());
    return path;
}

std::string ReadAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool FileExists(const std::string& path) {
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

const std::string kStars = "*****************************";  // 29

// Whether `line` has asctime's shape, "Sun Nov 22 21:37:09 2026": A upper-case,
// a lower-case, 9 digit, _ blank or digit, anything else itself.
bool IsDateLine(const std::string& line) {
    const std::string shape = "Aaa Aaa _9 99:99:99 9999";
    if (line.size() != shape.size()) return false;
    for (size_t i = 0; i < shape.size(); ++i) {
        const char c = line[i];
        switch (shape[i]) {
            case 'A':
                if (!isupper(static_cast<unsigned char>(c))) return false;
                break;
            case 'a':
                if (!islower(static_cast<unsigned char>(c))) return false;
                break;
            case '9':
                if (!isdigit(static_cast<unsigned char>(c))) return false;
                break;
            case '_':
                if (c != ' ' && !isdigit(static_cast<unsigned char>(c))) return false;
                break;
            default:
                if (c != shape[i]) return false;
        }
    }
    return true;
}

// Everything after the header (its five lines).
std::string Body(const std::string& text) {
    size_t pos = 0;
    for (int i = 0; i < 5 && pos != std::string::npos; ++i) {
        pos = text.find('\n', pos);
        if (pos != std::string::npos) ++pos;
    }
    return pos == std::string::npos ? std::string() : text.substr(pos);
}

// Opens a fresh log, lets `fill` write to it, closes it and returns the lines written.
template <class F>
std::string LinesOf(const std::string& name, F fill) {
    const std::string path = Scratch(name);
    {
        Log log;
        log.LogOpen(path.c_str(), "test");
        fill(log);
    }
    return Body(ReadAll(path));
}

}  // namespace

TEST(QuvLog, LogPrintBeforeAnyOpenWritesNothingAndDoesNotFail) {
    ASSERT_FALSE(Log::IsOpen());
    Log log;
    log.LogPrint("nothing %d %s", 1, "here");
    EXPECT_FALSE(Log::IsOpen());
    // A log opened afterwards does not hold the line either.
    const std::string path = Scratch("before-open.txt");
    log.LogOpen(path.c_str(), "t");
    log.LogPrint("after");
    EXPECT_EQ(Body(ReadAll(path)), "after\n");
}

TEST(QuvLog, TheFileBeginsWithTheAsteriskLineTitleDateLineAsteriskLineAndOneEmptyLine) {
    const std::string path = Scratch("header.txt");
    {
        Log log;
        log.LogOpen(path.c_str(), "test");
        EXPECT_STREQ(QuvLog::LogPath(), path.c_str());
    }
    const std::string text = ReadAll(path);
    std::istringstream in(text);
    std::string l1, l2, l3, l4, l5;
    std::getline(in, l1);
    std::getline(in, l2);
    std::getline(in, l3);
    std::getline(in, l4);
    std::getline(in, l5);
    EXPECT_EQ(l1, kStars);
    EXPECT_EQ(l2, "test");
    // asctime's 24 characters, e.g. "Sun Nov 22 21:37:09 2026", without its newline.
    EXPECT_TRUE(IsDateLine(l3)) << l3;
    EXPECT_EQ(l4, kStars);
    EXPECT_EQ(l5, "");
    EXPECT_EQ(text.size(), 30u + 5u + 25u + 30u + 1u);  // nothing more, no stray bytes
}

TEST(QuvLog, ATitleIsFormattedSoItsPerCentSignsAreInterpreted) {
    const std::string path = Scratch("title.txt");
    {
        Log log;
        log.LogOpen(path.c_str(), "Level 100%");  // a lone trailing sign stays as it is
    }
    std::string expected = kStars + "\nLevel 100%\n";
    EXPECT_EQ(ReadAll(path).substr(0, expected.size()), expected);
    {
        Log log;
        log.LogOpen(path.c_str(), "a %d b %s c %% d");  // the absent arguments print as 0 and ""
    }
    expected = kStars + "\na 0 b  c % d\n";
    EXPECT_EQ(ReadAll(path).substr(0, expected.size()), expected);
}

TEST(QuvLog, WithLogIndentFourEveryLineOfThatObjectStartsWithFourSpacesAndOthersAreUnaffected) {
    const std::string path = Scratch("indent.txt");
    {
        Log log;
        log.LogOpen(path.c_str(), "test");
        Log other;
        log.LogIndent(4);
        log.LogPrint("one");
        other.LogPrint("two");
        log.LogPrint("three %d", 3);
        log.LogIndent(20);  // beyond 12 counts as 12
        log.LogPrint("wide");
        log.LogIndent(-3);
        log.LogPrint("none");
    }
    EXPECT_EQ(Body(ReadAll(path)),
              "    one\ntwo\n    three 3\n" + std::string(12, ' ') + "wide\nnone\n");
}

TEST(QuvLog, AMessageWhoseTextContainsAPerCentSignAndAConversionLetterIsReinterpretedWhenWritten) {
    const std::string body = LinesOf("reinterpret.txt", [](Log& log) {
        log.LogPrint("%s", "50% done");    // "% d" is a conversion: " 0", then "one"
        log.LogPrint("rate %s", "%d Hz");  // the argument's own %d
        log.LogPrint("100%%");             // "100%" then the newline: not a conversion
        log.LogPrint("%s", "%%");          // "%%" in the text gives "%"
    });
    EXPECT_EQ(body, "50 0one\nrate 0 Hz\n100%\n%\n");
}

TEST(QuvLog, TheSecondPassPrintsEveryConversionWithoutArgumentsInADefinedWay) {
    const std::string body = LinesOf("conversions.txt", [](Log& log) {
        log.LogPrint("%s", "[%5.2f][%-4s][%x][%X][%o][%u][%i]");
        log.LogPrint("%s", "[%p][%8p][%n][%c][%3c][%s]");
        log.LogPrint("%s", "[%*d][%.*f][%lld][%hhx][%zu][%Lf]");
        log.LogPrint("%s", "[%+d][%05d][%#x][% d][%-3d]");
        log.LogPrint("%s", "[%y][%'d][%m][%99999999999d]");
    });
    const std::string wide(512, ' ');
    EXPECT_EQ(body,
              "[ 0.00][    ][0][0][0][0][0]\n"
              "[(nil)][   (nil)][][][   ][]\n"
              "[0][0][0][0][0][0.000000]\n"
              "[+0][00000][0][ 0][0  ]\n"
              "[%y][%'d][%m][" +
                  wide.substr(1) + "0]\n");
}

TEST(QuvLog, AnOverlongMessageIsCutAt510Characters) {
    const std::string longText(2000, 'a');
    const std::string body = LinesOf("overlong.txt", [&](Log& log) {
        log.LogPrint("%s", longText.c_str());
        log.LogPrint("next");
    });
    EXPECT_EQ(body, std::string(510, 'a') + "\nnext\n");
}

TEST(QuvLog, DestroyingTheLastQuvLogClosesTheFileAndALaterLogPrintFromANewObjectWritesNothing) {
    const std::string path = Scratch("close.txt");
    {
        Log first;
        first.LogOpen(path.c_str(), "test");
        {
            Log second;
            second.LogPrint("from second");
        }
        EXPECT_TRUE(Log::IsOpen());  // one user is still alive
        first.LogPrint("from first");
    }
    EXPECT_FALSE(Log::IsOpen());
    const std::string closed = ReadAll(path);
    Log later;
    later.LogPrint("too late");
    EXPECT_EQ(ReadAll(path), closed);
    EXPECT_EQ(Body(closed), "from second\nfrom first\n");
}

TEST(QuvLog, ObjectsCreatedAfterTheOpenShareTheFileAtOnce) {
    const std::string body = LinesOf("share.txt", [](Log&) {
        Log newcomer;
        newcomer.LogPrint("newcomer");
    });
    EXPECT_EQ(body, "newcomer\n");
}

TEST(QuvLog, ASecondOpenClosesTheFirstStreamAndWritesToTheSecondFile) {
    const std::string p1 = Scratch("first.txt");
    const std::string p2 = Scratch("second.txt");
    Log log;
    log.LogOpen(p1.c_str(), "one");
    log.LogPrint("to one");
    log.LogOpen(p2.c_str(), "two");
    log.LogPrint("to two");
    EXPECT_EQ(Body(ReadAll(p1)), "to one\n");
    EXPECT_EQ(Body(ReadAll(p2)), "to two\n");
    EXPECT_STREQ(QuvLog::LogPath(), p2.c_str());
}

TEST(QuvLog, AFileThatCannotBeOpenedTurnsLoggingOffSilently) {
    const std::string missing = Scratch("no-such-folder") + "/sub/log.txt";
    Log log;
    log.LogOpen(missing.c_str(), "t");
    EXPECT_FALSE(Log::IsOpen());
    log.LogPrint("lost");
    EXPECT_FALSE(FileExists(missing));
    EXPECT_STREQ(QuvLog::LogPath(), missing.c_str());  // the path is still taken
}

TEST(QuvLog, AnOverlongPathIsKeptBoundedAndTheOpenFails) {
    const std::string path = "/" + std::string(5000, 'p');
    Log log;
    log.LogOpen(path.c_str(), "t");
    EXPECT_FALSE(Log::IsOpen());
    EXPECT_EQ(std::string(QuvLog::LogPath()), path.substr(0, 4095));
}

TEST(QuvLog, LogOpenDesktopWritesTheNamedFileOnTheDesktop) {
    UDir desk(kPathDesktop);
    const std::string expected = desk.MakeFilePath("velotune-logtest.txt");
    unlink(expected.c_str());
    {
        Log log;
        log.LogOpenDesktop("velotune-logtest.txt", "desk");
        EXPECT_STREQ(QuvLog::LogPath(), expected.c_str());
        log.LogPrint("on the desktop");
    }
    EXPECT_EQ(Body(ReadAll(expected)), "on the desktop\n");
    unlink(expected.c_str());
}

TEST(QuvLog, LogOpenLocalWritesNextToTheExecutable) {
    char exe[1024];
    const ssize_t n = readlink("/proc/self/exe", exe, sizeof(exe) - 1);
    ASSERT_GT(n, 0);
    exe[n] = 0;
    std::string folder(exe);
    folder.erase(folder.rfind('/') + 1);
    const std::string expected = folder + "velotune-logtest.txt";
    {
        Log log;
        log.LogOpenLocal("velotune-logtest.txt", "local");
        EXPECT_STREQ(QuvLog::LogPath(), expected.c_str());
        log.LogPrint("local");
    }
    EXPECT_EQ(Body(ReadAll(expected)), "local\n");
    unlink(expected.c_str());
}

TEST(QuvLog, LogOpenSupportCreatesItsFolderInTheUserDataFolder) {
    UDir support(kPathSupport);
    const std::string folder = std::string(support.GetPath()) + "velotune-logtest/";
    const std::string expected = folder + "log.txt";
    unlink(expected.c_str());
    rmdir(folder.c_str());
    {
        Log log;
        log.LogOpenSupport("velotune-logtest", "log.txt", "support");
        EXPECT_STREQ(QuvLog::LogPath(), expected.c_str());
        log.LogPrint("support");
    }
    EXPECT_EQ(Body(ReadAll(expected)), "support\n");
    unlink(expected.c_str());
    rmdir(folder.c_str());
}

TEST(QuvLog, TwoObjectsLoggingFromTwoThreadsWriteWholeLines) {
    const std::string path = Scratch("threads.txt");
    Log main;
    main.LogOpen(path.c_str(), "test");
    auto writer = [](char tag) {
        Log log;
        for (int i = 0; i < 200; ++i)
            log.LogPrint("%c%c%c%c%c%c%c%c", tag, tag, tag, tag, tag, tag, tag, tag);
    };
    std::thread a(writer, 'a');
    std::thread b(writer, 'b');
    a.join();
    b.join();
    std::istringstream in(Body(ReadAll(path)));
    std::string line;
    int as = 0, bs = 0;
    while (std::getline(in, line)) {
        if (line == "aaaaaaaa")
            ++as;
        else if (line == "bbbbbbbb")
            ++bs;
        else
            ADD_FAILURE() << "torn line: " << line;
    }
    EXPECT_EQ(as, 200);
    EXPECT_EQ(bs, 200);
}
