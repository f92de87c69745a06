// A folder of everything that goes wrong in real sample collections, given to the
// finished program: it plays every good file, skips the rest, logs each file
// with an accepted extension that the decoder refuses, and keeps running.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "ProgramKit.h"
#include "SoundFileWriter.h"

using namespace programkit;

namespace {

void WriteTone(const std::string& path, double hz, double seconds = 0.3) {
    int frames = static_cast<int>(seconds * 44100);
    std::vector<float> f = testfiles::Sine(frames, 2, 44100, hz, 0.5);
    std::vector<short> s(f.size());
    for (size_t i = 0; i < f.size(); ++i) s[i] = static_cast<short>(std::lround(f[i] * 32767.0));
    ASSERT_TRUE(testfiles::WriteShorts(path, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 44100, 2, s))
        << path;
}

std::vector<unsigned char> Bytes(const std::string& path) {
    return testfiles::ReadBytes(path);
}

void Put(const std::string& path, const std::vector<unsigned char>& bytes) {
    ASSERT_TRUE(testfiles::WriteBytes(path, bytes)) << path;
}

// mkdir -p for paths longer than one system call takes comfortably.
std::string MakeDeep(std::string base, const std::string& part, int levels) {
    for (int i = 0; i < levels; ++i) {
        base += "/" + part;
        mkdir(base.c_str(), 0755);
    }
    return base;
}

}  // namespace

TEST(BadInput, TheProgramPlaysEveryGoodFileSkipsTheRestLogsTheUndecodableAndKeepsRunning) {
    ASSERT_NE(getenv("DISPLAY"), nullptr);
    ASSERT_EQ(access(ProgramPath().c_str(), X_OK), 0);
    unlink(LogPath().c_str());
    std::string dir = testfiles::TempPath("bad-input");
    system(("rm -rf " + Quote(dir)).c_str());
    mkdir(dir.c_str(), 0755);

    // Good files, each a tone of its own, in awkward places and under awkward names.
    struct Good {
        std::string path;
        double hz;
    };
    std::vector<Good> good = {
        {dir + "/plain.wav", 441.0},
        {dir + "/name with spaces and 'quotes' \"too\".wav", 551.25},
        {dir + "/caf\xe9-latin1.wav", 661.5},
        {MakeDeep(dir, "d", 60) + "/deep.wav", 771.75},
    };
    for (const Good& g : good) WriteTone(g.path, g.hz);
    // A path of about 4,000 bytes: played when the decoder opens it, else logged
    // as skipped; either way nothing breaks.
    std::string longPath = MakeDeep(dir, std::string(200, 'L'), 20) + "/long.wav";
    ASSERT_GT(longPath.size(), 3900u);
    WriteTone(dir + "/long-first.wav", 882.0);
    ASSERT_EQ(rename((dir + "/long-first.wav").c_str(), longPath.c_str()), 0);

    // Files the decoder refuses although their extension is taken: each logged.
    std::vector<unsigned char> wav = Bytes(good[0].path);
    std::vector<std::string> refused;
    Put(dir + "/zero-bytes.wav", {});
    refused.push_back(dir + "/zero-bytes.wav");
    Put(dir + "/truncated-header.wav", std::vector<unsigned char>(wav.begin(), wav.begin() + 20));
    refused.push_back(dir + "/truncated-header.wav");
    Put(dir + "/text.wav", std::vector<unsigned char>(3000, 'x'));
    refused.push_back(dir + "/text.wav");
    Put(dir + "/text.mp3", std::vector<unsigned char>(3000, 'y'));
    refused.push_back(dir + "/text.mp3");
    Put(dir + "/text.aiff", std::vector<unsigned char>(3000, 'z'));
    refused.push_back(dir + "/text.aiff");

    // A header claiming far more data than there is: the frames present play.
    WriteTone(dir + "/huge-chunk-size.wav", 1984.5);
    std::vector<unsigned char> huge = Bytes(dir + "/huge-chunk-size.wav");
    huge[4] = huge[5] = huge[6] = 0xFF;
    huge[7] = 0x7F;
    Put(dir + "/huge-chunk-size.wav", huge);

    // Skipped without a word: other extensions, hidden entries, a symlink loop,
    // an unreadable folder (root reads it all the same) and file.
    Put(dir + "/notes.txt", {'h', 'i', '\n'});
    WriteTone(dir + "/.hidden.wav", 1500.0);
    ASSERT_EQ(symlink(".", (dir + "/loop").c_str()), 0);
    ASSERT_EQ(symlink("loop2", (dir + "/loop2").c_str()), 0);
    mkdir((dir + "/locked").c_str(), 0755);
    WriteTone(dir + "/locked/inside.wav", 1653.75);
    chmod((dir + "/locked").c_str(), 0);
    WriteTone(dir + "/unreadable.wav", 1764.0);
    chmod((dir + "/unreadable.wav").c_str(), 0);
    bool root = geteuid() == 0;

    Recorder rec(testfiles::TempPath("bad-input.raw"));
    ASSERT_TRUE(rec.Start());
    Process program;
    ASSERT_TRUE(program.Start({ProgramPath(), dir}));
    std::string window = FindWindow("Velotune 2.0");
    ASSERT_FALSE(window.empty());
    size_t expected = good.size() + 1 + (root ? 2 : 0);  // plus the long path, when it opens
    // Sounds that follow each other without a pause between them form one run of
    // sound: the runs are split where the tone changes.
    auto Sounds = [](const std::vector<int16_t>& left) {
        std::vector<Segment> pieces;
        for (const Segment& run : Segments(left))
            for (const Segment& p : SplitByTone(left, run))
                if (p.Length() >= 2 * 2205) pieces.push_back(p);
        return pieces;
    };
    std::vector<Segment> segs;
    WaitUntil(
        [&] {
            std::vector<int16_t> left = rec.Left();
            segs = Sounds(left);
            // Every sound is 0.3 s with at most 0.3 s between two: 3 s of
            // silence after the last one means the walk is over.
            return segs.size() >= expected &&
                   static_cast<long>(left.size()) - segs.back().end > 3 * 44100;
        },
        60000);
    SleepMs(500);
    rec.Stop();
    chmod((dir + "/locked").c_str(), 0755);
    segs = Sounds(rec.Left());

    // A tone measured over windows is within a few tenths of a per cent.
    auto heard = [&](double hz) {
        for (const Segment& seg : segs)
            if (std::fabs(seg.hz - hz) < 0.01 * hz) return true;
        return false;
    };
    for (const Good& g : good) EXPECT_TRUE(heard(g.hz)) << g.path << " not heard";
    EXPECT_TRUE(heard(1984.5)) << "the huge-chunk file plays what it holds";
    EXPECT_FALSE(heard(1500.0)) << "hidden files are skipped";
    if (!root) {
        EXPECT_FALSE(heard(1653.75)) << "an unreadable folder is skipped";
        EXPECT_FALSE(heard(1764.0)) << "an unreadable file is skipped";
    }
    std::string log = ReadText(LogPath());
    bool longHeard = heard(882.0);
    // The log cuts long lines: the start of the path names the file.
    EXPECT_TRUE(longHeard ||
                log.find("*** MainDlg: skipped " + longPath.substr(0, 400)) != std::string::npos)
        << "the 4,000-byte path is played or logged";
    EXPECT_EQ(segs.size(), expected + (longHeard ? 1 : 0));

    for (const std::string& r : refused)
        EXPECT_NE(log.find("*** MainDlg: skipped " + r + ": "), std::string::npos) << r << "\n"
                                                                                   << log;
    EXPECT_EQ(log.find("notes.txt"), std::string::npos);
    EXPECT_TRUE(program.Running()) << "bad input never ends the program";
    Key(window, "Escape");
    EXPECT_EQ(program.Wait(30000), 0);
}
