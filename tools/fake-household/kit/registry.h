#pragma once

#include <QCommandLineParser>
#include <QHostAddress>
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

// A service on one loopback port of its own, as the lyric and catalog fakes
// are: the option "NAME-port", and a line that says where it listens and
// which key of the settings' [services] points a program at it.
template<typename Service>
Module portModule(const char *name, const QString &label)
{
    const QString option = QLatin1String(name) + QStringLiteral("-port");
    return {name,
            [option, label](QCommandLineParser &parser) {
                parser.addOption(QCommandLineOption(option, QStringLiteral("Port of the fake %1 (default: any free port).").arg(label),
                                                    QStringLiteral("port"), QStringLiteral("0")));
            },
            [name, option, label](const QCommandLineParser &parser, QObject *parent) -> QStringList {
                auto *service = new Service(parent);
                if (!service->listen(QHostAddress::LocalHost, quint16(parser.value(option).toUInt())))
                    return {QStringLiteral("error: cannot listen on the %1 port").arg(label)};
                return {QStringLiteral("%1 at %2 ([services] %3)").arg(label, service->baseUrl().toString(), QLatin1String(name))};
            }};
}

} // namespace velotte::fake
