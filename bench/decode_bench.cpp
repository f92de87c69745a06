// Decode throughput of the system-decoded reader: opens each file given on the
// command line with snd_mac, pulls every frame through GetAudio in blocks of 4096
// frames (as the player's fill worker does) and prints frames per second, the best
// of several runs, and the seconds of every run, one line per file:
// "<path> <frames> <best seconds> <best frames/s> <seconds,seconds,...>".
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "snd_mac.h"

namespace {

// One full decode of `path`; returns the frames delivered, or -1 when it fails.
long DecodeOnce(const std::string& path, double& seconds) {
    snd_mac reader;
    std::vector<char> p(path.c_str(), path.c_str() + path.size() + 1);
    const auto start = std::chrono::steady_clock::now();
    if (reader.OpenFile(p.data()) != 1) return -1;
    std::vector<float> buffer(4096 * static_cast<size_t>(std::max(1, reader.Channel())));
    long frames = 0;
    while (int n = reader.GetAudio(buffer.data(), 4096)) frames += n;
    reader.OnCloseFile();
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return frames;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s [-r RUNS] FILE...\n", argv[0]);
        return 2;
    }
    int runs = 5;
    int first = 1;
    if (argc > 3 && std::string(argv[1]) == "-r") {
        runs = std::max(1, std::atoi(argv[2]));
        first = 3;
    }
    for (int i = first; i < argc; ++i) {
        double best = 0;
        long frames = 0;
        std::string all;
        try {
            for (int r = 0; r < runs; ++r) {
                double seconds = 0;
                frames = DecodeOnce(argv[i], seconds);
                if (frames < 0) break;
                if (r == 0 || seconds < best) best = seconds;
                char one[32];
                std::snprintf(one, sizeof one, "%s%.6f", r ? "," : "", seconds);
                all += one;
            }
        } catch (const std::exception& e) {
            std::fprintf(stderr, "%s: %s\n", argv[i], e.what());
            return 1;
        }
        if (frames < 0 || best <= 0) {
            std::fprintf(stderr, "%s: cannot be decoded\n", argv[i]);
            return 1;
        }
        std::printf("%s %ld %.6f %.0f %s\n", argv[i], frames, best, frames / best, all.c_str());
    }
    return 0;
}
