#pragma once

#include <QCommandLineParser>
#include <QObject>
#include <QStringList>

#include <functional>
#include <vector>

namespace velotte::fake {

// One simulated service of the fake household (cloud, speakers, lyrics, ...).
// Each registers itself; the fake-household program starts all of them.
struct Module {
    const char *name;
    std::function<void(QCommandLineParser &)> addOptions;
    // Starts the service; returns lines describing what it serves, or an
    // error line starting with "error:".
    std::function<QStringList(const QCommandLineParser &, QObject *parent)> start;
};

std::vector<Module> &modules();

struct Registration {
    explicit Registration(Module module) { modules().push_back(std::move(module)); }
};

} // namespace velotte::fake
