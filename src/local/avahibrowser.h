#pragma once

#include "speakerfinder.h"

#include <memory>

namespace velotte {

// Bonjour through the desktop's Avahi daemon, driven from the Qt event loop
// (no thread, nothing blocks).
class AvahiBrowser final : public BrowseBackend {
public:
    AvahiBrowser();
    ~AvahiBrowser() override;
    bool start(Events events) override;
    void resolve(const QString &name) override;
    void stop() override;

    struct Impl;

private:
    std::unique_ptr<Impl> d;
};

} // namespace velotte
