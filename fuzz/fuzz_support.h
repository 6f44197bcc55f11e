#pragma once

#include "shell/app.h"

#include <QByteArray>
#include <QString>
#include <cstddef>
#include <cstdint>
#include <memory>

// What every fuzz target needs around the code it feeds: a Qt application on
// the offscreen platform (made once, on first use), a scratch directory for
// the targets that read files, and a fresh App wired as the program wires it.

// Makes the application once; quiet, so that warnings about hostile input
// don't drown the fuzzer's own output.
void fuzzInit();

// A directory that lives as long as the process. Ends in a separator.
QString fuzzDir();

// Writes the input to a file of that name in fuzzDir() and returns its path.
QString fuzzFile(const QString& name, const std::uint8_t* data, std::size_t size);

// Takes bytes off the front of the input to steer a target (modes, cut
// sizes); what is left is the text to feed.
struct FuzzInput {
    FuzzInput(const std::uint8_t* data, std::size_t size)
        : p(reinterpret_cast<const char*>(data)), n(size) {}
    std::uint8_t byte() {
        if (n == 0) return 0;
        --n;
        return static_cast<std::uint8_t>(*p++);
    }
    QByteArray rest() const { return QByteArray(p, static_cast<qsizetype>(n)); }

    const char* p;
    std::size_t n;
};

// An App on fuzzDir() with its controls, as the program has it after start.
// Nothing is asked: the App's own prompter answers "no" and chooses no file.
std::unique_ptr<App> fuzzApp();

// Cuts data into blocks whose sizes come from the steering bytes, as the
// network cuts a reply, and calls feed(block) for each.
template <typename Feed> void feedInBlocks(const QByteArray& data, FuzzInput& steer, Feed feed) {
    qsizetype at = 0;
    while (at < data.size()) {
        const qsizetype len = std::min<qsizetype>(1 + steer.byte() % 64, data.size() - at);
        feed(data.mid(at, len));
        at += len;
    }
}
