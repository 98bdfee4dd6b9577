#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <vector>

// One fuzz target per reader of outside input. Linked with libFuzzer, each
// binary holds one target; linked with the replay driver, one program holds
// them all and runs their seed corpora as a regression test.
namespace velotte::fuzz {

using Fn = void (*)(const QByteArray &data);
struct Target {
    const char *name;
    Fn run;
};
inline std::vector<Target> &targets()
{
    static std::vector<Target> all;
    return all;
}

// Bytes as the readers get them: UTF-8 text, invalid sequences and all.
inline QString text(const QByteArray &data) { return QString::fromUtf8(data); }

// Runs each reader on the bytes; the refusal it documents is no finding.
template<typename Refusal, typename... Readers>
void each(const QByteArray &data, Readers... readers)
{
    auto attempt = [&](auto read) {
        try {
            read(data);
        } catch (const Refusal &) {
        }
    };
    (attempt(readers), ...);
}

} // namespace velotte::fuzz

#define VELOTTE_FUZZ_TARGET(NAME)                                                                                  \
    static void fuzz_##NAME(const QByteArray &data);                                                              \
    static const bool registered_##NAME = (velotte::fuzz::targets().push_back({#NAME, fuzz_##NAME}), true);      \
    static void fuzz_##NAME(const QByteArray &data)
