// Runs a fuzz target without libFuzzer, so the test suite can use the normal
// compiler: every file of the corpus once, then, for --fresh-seconds, inputs
// made from the corpus by small mutations and the dictionary's words. The
// seed is printed first; --seed gives the same run again.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

// The fresh input under way, written to "crash-input" in the working
// directory when it brings the process down, so it can join the corpus.
const Bytes* current = nullptr;

// The handlers that were there before (a sanitizer's), put back to report the
// crash as they would have.
struct sigaction previous[NSIG];

void keepCurrent(int sig) {
    if (current) {
        const int fd = ::open("crash-input", O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd >= 0) {
            [[maybe_unused]] auto n = ::write(fd, current->data(), current->size());
            ::close(fd);
        }
    }
    ::sigaction(sig, &previous[sig], nullptr);
    std::raise(sig);
}

Bytes readAll(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Words of a libFuzzer dictionary: name="value" lines with \xNN and \\ \" escapes.
std::vector<Bytes> readDictionary(const std::filesystem::path& path) {
    std::vector<Bytes> words;
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        const auto open = line.find('"');
        const auto close = line.rfind('"');
        if (line.empty() || line[0] == '#' || open == std::string::npos || close <= open) continue;
        Bytes word;
        for (std::size_t i = open + 1; i < close; ++i) {
            if (line[i] == '\\' && i + 1 < close) {
                if (line[i + 1] == 'x' && i + 3 < close) {
                    word.push_back(
                        static_cast<std::uint8_t>(std::stoi(line.substr(i + 2, 2), nullptr, 16)));
                    i += 3;
                } else {
                    word.push_back(static_cast<std::uint8_t>(line[++i]));
                }
            } else {
                word.push_back(static_cast<std::uint8_t>(line[i]));
            }
        }
        words.push_back(std::move(word));
    }
    return words;
}

void mutate(Bytes& b, const std::vector<Bytes>& corpus, const std::vector<Bytes>& words,
            std::mt19937_64& rng) {
    auto pick = [&](std::size_t n) { return n ? static_cast<std::size_t>(rng() % n) : 0; };
    const int steps = 1 + static_cast<int>(rng() % 4);
    for (int s = 0; s < steps; ++s) {
        switch (rng() % 6) {
        case 0: // flip a bit
            if (!b.empty()) b[pick(b.size())] ^= static_cast<std::uint8_t>(1u << (rng() % 8));
            break;
        case 1: // set a byte, often to one a parser cares about
            if (!b.empty()) {
                static const std::uint8_t special[] = {'\r', '\n', '.',  '=', ' ',
                                                       '\t', 0,    0xff, '0', '9'};
                b[pick(b.size())] =
                    rng() % 2 ? special[pick(sizeof special)] : static_cast<std::uint8_t>(rng());
            }
            break;
        case 2: { // drop a run
            if (b.empty()) break;
            const std::size_t at = pick(b.size());
            b.erase(b.begin() + static_cast<long>(at),
                    b.begin() + static_cast<long>(std::min(b.size(), at + 1 + pick(16))));
            break;
        }
        case 3: { // repeat a run
            if (b.empty() || b.size() > 64 * 1024) break;
            const std::size_t at = pick(b.size());
            const std::size_t len = std::min(b.size() - at, 1 + pick(64));
            const Bytes run(b.begin() + static_cast<long>(at),
                            b.begin() + static_cast<long>(at + len));
            b.insert(b.begin() + static_cast<long>(pick(b.size() + 1)), run.begin(), run.end());
            break;
        }
        case 4: // a dictionary word
            if (!words.empty()) {
                const Bytes& w = words[pick(words.size())];
                b.insert(b.begin() + static_cast<long>(pick(b.size() + 1)), w.begin(), w.end());
            }
            break;
        default: { // the tail of another corpus file
            if (corpus.empty()) break;
            const Bytes& other = corpus[pick(corpus.size())];
            const std::size_t cut = pick(b.size() + 1);
            const std::size_t from = pick(other.size() + 1);
            b.resize(cut);
            b.insert(b.end(), other.begin() + static_cast<long>(from), other.end());
            break;
        }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    double freshSeconds = 0;
    std::uint64_t seed = std::random_device{}();
    std::vector<std::filesystem::path> dictionaries;
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.rfind("--fresh-seconds=", 0) == 0) {
            freshSeconds = std::stod(arg.substr(16));
        } else if (arg.rfind("--seed=", 0) == 0) {
            seed = std::stoull(arg.substr(7));
        } else if (arg.rfind("--dict=", 0) == 0) {
            dictionaries.emplace_back(arg.substr(7));
        } else if (std::filesystem::is_directory(arg)) {
            for (const auto& e : std::filesystem::directory_iterator(arg))
                if (e.is_regular_file()) files.push_back(e.path());
        } else {
            files.emplace_back(arg);
        }
    }
    std::sort(files.begin(), files.end());
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::fflush(stdout);

    std::vector<Bytes> corpus;
    for (const auto& f : files) {
        corpus.push_back(readAll(f));
        LLVMFuzzerTestOneInput(corpus.back().data(), corpus.back().size());
    }
    std::printf("replayed %zu corpus files\n", corpus.size());
    std::fflush(stdout);
    if (corpus.empty()) corpus.emplace_back();

    std::vector<Bytes> words;
    for (const auto& d : dictionaries) {
        auto more = readDictionary(d);
        words.insert(words.end(), more.begin(), more.end());
    }
    for (int sig : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL}) {
        struct sigaction keep = {};
        keep.sa_handler = keepCurrent;
        ::sigaction(sig, &keep, &previous[sig]);
    }
    std::mt19937_64 rng(seed);
    const auto until =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(freshSeconds);
    long runs = 0;
    while (std::chrono::steady_clock::now() < until) {
        Bytes input = corpus[rng() % corpus.size()];
        mutate(input, corpus, words, rng);
        current = &input;
        LLVMFuzzerTestOneInput(input.data(), input.size());
        current = nullptr;
        ++runs;
    }
    std::printf("ran %ld fresh inputs\n", runs);
    return 0;
}
