// Writes the seed corpora of the fuzz targets, one folder per target, from the
// same builders the unit tests use:
//   OUT_DIR/{snd_wav,snd_aif,snd_mac,droplist,editbox}/
// Sound seeds are valid files of every bit depth the readers convert plus the
// chunks they read and skip; the decoder's seeds add files its own encoder wrote,
// an MP3 among them. URI seeds cover spaces, %-escapes, non-ASCII names and
// folders; edit field seeds are short key scripts (see editbox_fuzz.cpp).
// Used by make_seeds (the fuzzing campaign) and by the replay of every seed in
// the test suites (tests/fuzz).
#include "FuzzSeeds.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "SoundFileBuilder.h"
#include "SoundFileWriter.h"

using velotune_test::SoundFileBuilder;

namespace {

std::string g_out;
int g_count = 0;

std::string Folder(const std::string& target) {
    std::string dir = g_out + "/" + target;
    mkdir(g_out.c_str(), 0755);
    mkdir(dir.c_str(), 0755);
    return dir;
}

void Seed(const std::string& target, const std::string& name, const std::vector<uint8_t>& bytes) {
    std::string path = Folder(target) + "/" + name;
    if (!velotune_test::WriteFileBytes(path, bytes)) {
        fprintf(stderr, "cannot write %s\n", path.c_str());
        exit(1);
    }
    ++g_count;
}

void Seed(const std::string& target, const std::string& name, const std::string& text) {
    Seed(target, name, std::vector<uint8_t>(text.begin(), text.end()));
}

// A short ramp of `frames` frames in the builder's byte order.
void Samples(SoundFileBuilder& b, int bits, int channels, int frames) {
    for (int i = 0; i < frames * channels; ++i) {
        int v = (i * 37) % 255 - 127;
        switch (bits) {
            case 8:
                b.U8(static_cast<uint8_t>(v));
                break;
            case 16:
                b.I16(static_cast<int16_t>(v * 200));
                break;
            case 24:
                b.I24(v * 50000);
                break;
            default:
                b.I32(v * 12000000);
                break;
        }
    }
}

void WavSeeds() {
    const int depths[] = {8, 16, 24, 32};
    for (int bits : depths)
        for (int channels = 1; channels <= 2; ++channels) {
            SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
            wav.WavFmt(1, static_cast<uint16_t>(channels), 44100, static_cast<uint16_t>(bits));
            wav.BeginChunk("data");  // "data": a ramp
            Samples(wav, bits, channels, 48);
            wav.EndChunk().Finish();
            Seed("snd_wav", "pcm" + std::to_string(bits) + "_" + std::to_string(channels) + ".wav",
                 wav.Data());
        }
    {
        SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
        wav.WavFmt(3, 2, 48000, 32);  // "fmt ": IEEE float
        wav.BeginChunk("data").F32(0.5f).F32(-0.5f).F32(0.25f).F32(-1.0f).EndChunk();
        wav.Finish();
        Seed("snd_wav", "float32.wav", wav.Data());
    }
    {
        SoundFileBuilder wav = SoundFileBuilder::Riff("WAVE");
        wav.BeginChunk("data").I16(1).I16(2).I16(3).EndChunk();  // "data" before "fmt "
        wav.WavFmt(1, 1, 22050, 16, 2);                          // "fmt " with 2 extra bytes
        wav.WavSmpl(2);                                          // "smpl": two loops
        wav.Chunk("LIST", {'I', 'N', 'F', 'O'});                 // a chunk that is skipped
        wav.Chunk("junk", {1, 2, 3});                            // an odd size, no pad byte
        wav.Finish();
        Seed("snd_wav", "chunks.wav", wav.Data());
    }
}

void AifSeeds() {
    const int depths[] = {8, 16, 24, 32};
    for (int bits : depths)
        for (int channels = 1; channels <= 2; ++channels) {
            SoundFileBuilder aif = SoundFileBuilder::Form("AIFF");
            aif.AiffComm(static_cast<uint16_t>(channels), 48, static_cast<uint16_t>(bits), 44100);
            aif.BeginAiffSsnd();  // "SSND": offset 0, then a ramp
            Samples(aif, bits, channels, 48);
            aif.EndChunk().Finish();
            Seed("snd_aif", "pcm" + std::to_string(bits) + "_" + std::to_string(channels) + ".aif",
                 aif.Data());
        }
    SoundFileBuilder aif = SoundFileBuilder::Form("AIFF");
    aif.AiffMark({"a", "bb", "loop"});  // "MARK": names of odd and even length
    aif.AiffInst();                     // "INST": sustain loop over markers 1 and 2
    aif.AiffComm(1, 4, 16, 22050);      // "COMM": 22050 Hz, reported as 44100
    aif.BeginAiffSsnd(4).I16(1).I16(-1).I16(2).I16(-2).EndChunk();  // "SSND": offset 4
    aif.Finish();
    Seed("snd_aif", "markers.aif", aif.Data());
}

// Files written by the decoder's own encoder; false when it refuses the format.
bool Encoded(const std::string& name, int format, int frames, double quality) {
    std::string path = Folder("snd_mac") + "/" + name;
    std::vector<float> sine = testfiles::Sine(frames, 2, 22050, 440.0, 0.5);
    if (!testfiles::WriteFloats(path, format, 22050, 2, sine, quality)) return false;
    ++g_count;
    return true;
}

void MacSeeds() {
    // The hand-built files are also the decoder's input.
    for (const char* target : {"snd_wav", "snd_aif"}) {
        const std::string from = g_out + "/" + target;
        DIR* dir = opendir(from.c_str());
        if (!dir) exit(1);
        while (dirent* e = readdir(dir)) {
            if (e->d_name[0] == '.') continue;
            std::ifstream in(from + "/" + e->d_name, std::ios::binary);
            std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                                       std::istreambuf_iterator<char>());
            Seed("snd_mac", e->d_name, bytes);
        }
        closedir(dir);
    }
    Encoded("enc16.wav", SF_FORMAT_WAV | SF_FORMAT_PCM_16, 256, -1);
    Encoded("enc24.aiff", SF_FORMAT_AIFF | SF_FORMAT_PCM_24, 256, -1);
    Encoded("encf.au", SF_FORMAT_AU | SF_FORMAT_FLOAT, 128, -1);
    Encoded("enc.flac", SF_FORMAT_FLAC | SF_FORMAT_PCM_16, 512, -1);
    Encoded("enc.ogg", SF_FORMAT_OGG | SF_FORMAT_VORBIS, 2048, 0.1);
    if (!Encoded("enc.mp3", SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, 2304, 0.1)) {
        // The decoder's encoder has no MP3: lame writes one from a WAV.
        std::string wav = Folder("snd_mac") + "/enc16.wav";
        std::string cmd = "lame --quiet -b 32 '" + wav + "' '" + Folder("snd_mac") + "/enc.mp3'";
        if (system(cmd.c_str()) != 0) fprintf(stderr, "no MP3 seed: lame failed\n");
    }
}

void DropSeeds() {
    const char* lists[] = {
        "file:///tmp\r\n",
        "file:///tmp/\r\nfile:///usr/share\r\n",
        "file:///tmp/take%20one.wav\r\n",
        "file:///tmp/take one.wav\n",
        "file:///tmp/caf%C3%A9%20%E2%99%AA.aif\r\n",
        "file:///tmp/caf\xc3\xa9.wav\r\n",
        "file://localhost/tmp/x.mp3\r\n",
        "http://example.org/a.wav\r\nfile:///a%2Fb.wav\r\n",
        "file:///tmp/%\r\nfile:///tmp/%zz\r\nfile:///tmp/%00x\r\n",
        "# a comment line\r\nfile:///tmp/a.aiff\r\n\r\n",
        "file:\r\nfile://\r\nfile:///\r\n",
    };
    int i = 0;
    for (const char* list : lists) Seed("droplist", "uris" + std::to_string(i++), list);
    std::string longPath = "file:///" + std::string(520, 'a') + "\r\nfile:///" +
                           std::string(495, 'b') + "\r\nfile:///tmp/" + std::string(480, 'c');
    Seed("droplist", "long", longPath);
    std::string deep = "file://";
    for (int n = 0; n < 80; ++n) deep += "/%E2%99%AA";
    Seed("droplist", "escapes", deep);
}

// Edit field scripts: opcode bytes as editbox_fuzz.cpp reads them.
void EditSeeds() {
    const std::vector<uint8_t> click = {3, 5};
    auto type = [](std::vector<uint8_t>& s, const std::string& text) {
        for (char c : text) s.insert(s.end(), {1, static_cast<uint8_t>(c), 0});
    };
    auto key = [](std::vector<uint8_t>& s, int index, int mods) {
        s.insert(s.end(), {0, static_cast<uint8_t>(index), static_cast<uint8_t>(mods)});
    };
    {
        std::vector<uint8_t> s = {5 | 0x80, 0, 8};  // format 2, at most 8 characters
        s.insert(s.end(), click.begin(), click.end());
        type(s, "12a");
        key(s, 0, 0);  // 'kEnt'
        Seed("editbox", "digits", s);
    }
    {
        std::vector<uint8_t> s = {8, 3, 'H', 'e', 'l', 'l', 'o', '!', 10};  // label, draw
        s.insert(s.end(), click.begin(), click.end());
        s.insert(s.end(), {10, 3, 20, 4, 60, 4 | 0x80, 60});  // draw, press, drag, release
        type(s, "xy");
        key(s, 1, 0);                                      // 'kBck'
        key(s, 4, 0);                                      // 'kArL'
        key(s, 2, 0);                                      // 'kDel'
        key(s, 5, 1);                                      // 'kArR'
        s.insert(s.end(), {1, 'v', 2, 3, 'a', 'b', 'c'});  // control-v with "abc"
        s.insert(s.end(), {7, 1, 7, 2, 10, 6});            // ticks, draw, focus lost
        Seed("editbox", "edit", s);
    }
    {
        std::vector<uint8_t> s = {5, 16 | 64, 0, 11 | 0x40};  // file-name format, upper case
        s.insert(s.end(), click.begin(), click.end());
        type(s, "a/b:c\"d'e");
        key(s, 3, 0);                         // 'kEsc'
        s.insert(s.end(), {5 | 0x80, 1, 0});  // format 39: note names
        s.insert(s.end(), click.begin(), click.end());
        type(s, "C#3");
        key(s, 6, 0);                         // 'kArU'
        key(s, 8, 0);                         // 'kTab'
        key(s, 0, 0);                         // 'kEnt'
        s.insert(s.end(), {9, 0, 0, 0, 60});  // a value
        Seed("editbox", "formats", s);
    }
    {
        std::vector<uint8_t> s = {8, 255};
        for (int i = 0; i < 510; ++i) s.push_back(static_cast<uint8_t>('a' + i % 26));
        s.insert(s.end(), click.begin(), click.end());
        s.insert(s.end(), {10, 3, 250, 4, 0, 10});
        type(s, "zz");
        Seed("editbox", "long", s);
    }
}

}  // namespace

int velotune_fuzz::WriteSeeds(const std::string& outDir) {
    g_out = outDir;
    g_count = 0;
    WavSeeds();
    AifSeeds();
    MacSeeds();
    DropSeeds();
    EditSeeds();
    return g_count;
}
