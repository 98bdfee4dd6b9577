#include "kit/registry.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

// The fake household: simulated Sonos speakers and cloud services on loopback,
// for tests, benchmarks and anyone without speakers.
int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velotte-fake-household"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Simulated Sonos speakers and services on loopback addresses."));
    parser.addHelpOption();
    QCommandLineOption only(QStringLiteral("only"), QStringLiteral("Start only these services (comma-separated)."), QStringLiteral("names"));
    parser.addOption(only);
    for (auto &module : velotte::fake::modules())
        module.addOptions(parser);
    parser.process(app);

    const QStringList wanted = parser.value(only).split(QLatin1Char(','), Qt::SkipEmptyParts);
    QTextStream out(stdout);
    bool failed = false;
    for (auto &module : velotte::fake::modules()) {
        if (!wanted.isEmpty() && !wanted.contains(QLatin1String(module.name)))
            continue;
        const QStringList lines = module.start(parser, &app);
        for (const QString &line : lines) {
            out << module.name << ": " << line << Qt::endl;
            if (line.startsWith(QLatin1String("error:")))
                failed = true;
        }
    }
    if (failed)
        return 1;
    out << "ready" << Qt::endl;
    return app.exec();
}
