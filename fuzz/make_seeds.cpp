// Writes the seed corpora of the fuzz targets (FuzzSeeds.cpp), one folder per
// target, for the fuzzing campaign (tools/fuzz.sh):
//   make_seeds OUT_DIR   ->  OUT_DIR/{snd_wav,snd_aif,snd_mac,droplist,editbox}/
#include <cstdio>

#include "FuzzSeeds.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: make_seeds OUT_DIR\n");
        return 2;
    }
    int count = velotune_fuzz::WriteSeeds(argv[1]);
    printf("%d seeds in %s\n", count, argv[1]);
    return 0;
}
