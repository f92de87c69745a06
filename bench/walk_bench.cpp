// Folder walk rate of the main window's walker: MainDlg::PlayFolder over a tree
// that holds no sound files, so that every entry is listed, its path built and its
// extension checked, and nothing is opened or played (the window is never made).
//
//   walk_bench ROOT_FOLDER [RUNS]
//
// Prints one line per run, "walk <seconds>", after one unmeasured warm-up walk
// that brings the tree's directory blocks into the page cache.
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "MainDlg.h"

namespace {

double Now() {
    timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return ts.tv_sec + ts.tv_nsec / 1e9;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: walk_bench ROOT_FOLDER [RUNS]\n");
        return 2;
    }
    std::string root = argv[1];
    if (root.empty() || root.back() != '/') root += '/';  // the walker's folder form
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;

    // Heap: the controller holds its readers, player and queue by value.
    auto dlg = std::make_unique<MainDlg>();
    std::vector<char> path(root.begin(), root.end());
    path.push_back('\0');
    for (int i = 0; i <= runs; ++i) {
        const double t0 = Now();
        dlg->PlayFolder(path.data());
        const double t1 = Now();
        if (i > 0) std::printf("walk %.6f\n", t1 - t0);
    }
    return 0;
}
