// Prints what the shared speaker finder sees, one "name<TAB>host" a line,
// for the Bonjour test that runs it inside its own network namespace.
#include "local/speakerfinder.h"

#include <QCoreApplication>
#include <QTextStream>
#include <QTimer>

#include <algorithm>
#include <optional>

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    auto run = []() -> QCoro::Task<void> {
        const QHash<QString, QString> hosts = co_await velotte::SpeakerFinder::shared().hosts();
        QStringList lines;
        for (auto it = hosts.begin(); it != hosts.end(); ++it)
            lines << it.key() + QLatin1Char('\t') + it.value();
        std::sort(lines.begin(), lines.end());
        QTextStream out(stdout);
        for (const QString &line : lines)
            out << line << Qt::endl;
        QCoreApplication::quit();
    };
    // Started from the loop, so that an answer at once still ends it.
    std::optional<QCoro::Task<void>> task;
    QTimer::singleShot(0, &app, [&] { task.emplace(run()); });
    return app.exec();
}
