#pragma once

#include "core/wakeup.h"

namespace velotte::cli {

// Turns Ctrl-C (SIGINT) and SIGTERM into an event on the Qt loop, so a
// long-running command can end cleanly and print its last sentence.
class Interrupt {
public:
    Interrupt();
    ~Interrupt();
    bool raised() const { return m_wake.fired(); }
    Wakeup wakeup() const { return m_wake; }

private:
    Wakeup m_wake;
    struct Impl;
    Impl *d;
};

} // namespace velotte::cli
