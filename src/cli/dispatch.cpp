#include "context.h"
#include "format.h"

#include "cloud/sonoserror.h"
#include "core/failure.h"
#include "core/shutdown.h"

#include <QCoreApplication>
#include <QTimer>

namespace velotte::cli {

namespace {

QString globalHelp()
{
    QString text = QStringLiteral(
        "Usage: velottectl [global options] COMMAND [arguments]\n\n"
        "Controls Sonos speakers through the Sonos cloud or, without an account, on the local network.\n\n"
        "Global options:\n"
        "  --demo                 use the built-in demo household\n"
        "  --guest                local network only, speakers found by Bonjour\n"
        "  --speakers HOST[,HOST] local network only, with these speakers\n"
        "  --room NAME            the room (or group) to control\n"
        "  --json                 machine-readable output where a command has it\n"
        "  -h, --help             this help; COMMAND --help for one command\n"
        "  --version              the program's version\n\n"
        "Commands:\n");
    for (const Command &c : commands())
        text += QStringLiteral("  %1 %2\n      %3\n").arg(c.name, c.arguments, c.summary);
    text += QStringLiteral(
        "\nExit status: 0 done, 1 the operation failed (its reason on standard error), 2 a usage error\n\n"
        "Files:\n"
        "  ~/.config/velotte/velotte.conf        settings: [services] addresses, [local] speakers\n"
        "  ~/.config/velotte/SonosSecrets.plist  the sign-in credentials (VELOTTE_SECRETS names another file)\n"
        "  ~/.config/autostart/velotte.desktop   written by autostart on\n"
        "  ~/.cache/velotte/rooms                the rooms last read, for shell completion\n");
    return text;
}

const Command *find(const QString &name)
{
    for (const Command &c : commands()) {
        if (c.name == name)
            return &c;
    }
    return nullptr;
}

QCoro::Task<int> run(const Command &command, GlobalOptions options, QStringList args)
{
    Context context(std::move(options));
    try {
        if (command.needsHousehold) {
            const bool started = co_await context.start();
            if (!started)
                co_return failed;
        }
        co_return co_await command.run(context, args);
    } catch (const Cancelled &) {
        co_return failed;
    } catch (const std::exception &e) {
        context.err() << sentenceOf(e) << Qt::endl;
        if (const auto *error = dynamic_cast<const SonosError *>(&e); error && error->kind() == SonosError::Kind::missingCredentials)
            context.err() << signInHelp() << Qt::endl;
        co_return failed;
    }
}

} // namespace

int parseAndRun(QCoreApplication &app)
{
    QStringList args = app.arguments().mid(1);
    GlobalOptions options;
    QTextStream err(stderr);
    QTextStream out(stdout);
    // Global options come before the command word.
    while (!args.isEmpty() && args.first().startsWith(QLatin1Char('-'))) {
        const QString option = args.takeFirst();
        auto value = [&]() -> std::optional<QString> {
            if (args.isEmpty() || args.first().startsWith(QLatin1String("--")))
                return std::nullopt;
            return args.takeFirst();
        };
        if (option == QLatin1String("--demo")) {
            options.demo = true;
        } else if (option == QLatin1String("--guest")) {
            options.guest = true;
        } else if (option == QLatin1String("--json")) {
            options.json = true;
        } else if (option == QLatin1String("--speakers")) {
            const auto hosts = value();
            if (!hosts) {
                err << "--speakers needs a list of hosts, such as --speakers 192.168.1.20,192.168.1.21" << Qt::endl;
                return usage;
            }
            options.speakers = hosts->split(QLatin1Char(','), Qt::SkipEmptyParts);
        } else if (option == QLatin1String("--room")) {
            const auto room = value();
            if (!room) {
                err << "--room needs the name of a room." << Qt::endl;
                return usage;
            }
            options.room = *room;
        } else if (option == QLatin1String("-h") || option == QLatin1String("--help")) {
            out << globalHelp();
            return ok;
        } else if (option == QLatin1String("--version")) {
            out << "velottectl " VELOTTE_VERSION << Qt::endl;
            return ok;
        } else {
            err << QStringLiteral("Unknown option %1. See velottectl --help.").arg(option) << Qt::endl;
            return usage;
        }
    }
    if (options.demo + options.guest + !options.speakers.isEmpty() > 1) {
        err << "Choose one of --demo, --guest and --speakers." << Qt::endl;
        return usage;
    }
    if (args.isEmpty()) {
        err << globalHelp();
        return usage;
    }
    const QString name = args.takeFirst();
    const Command *command = find(name);
    if (!command) {
        err << QStringLiteral("Unknown command \"%1\". See velottectl --help.").arg(name) << Qt::endl;
        return usage;
    }
    // Options may also follow the command word.
    QStringList rest;
    while (!args.isEmpty()) {
        const QString a = args.takeFirst();
        if (a == QLatin1String("--help") || a == QLatin1String("-h")) {
            out << QStringLiteral("Usage: velottectl [global options] %1 %2\n\n%3\n").arg(command->name, command->arguments,
                                                                                          command->help.isEmpty() ? command->summary : command->help);
            return ok;
        }
        if (a == QLatin1String("--json"))
            options.json = true;
        else if (a == QLatin1String("--room") && !args.isEmpty())
            options.room = args.takeFirst();
        else
            rest << a;
    }
    int status = failed;
    bool done = false;
    // A named closure: the coroutine keeps referring to it after it suspends.
    auto body = [&]() -> QCoro::Task<void> {
        status = co_await run(*command, options, rest);
        done = true;
        QCoreApplication::exit(status);
    };
    auto task = body();
    if (!done)
        app.exec();
    settleBeforeExit();
    return status;
}

} // namespace velotte::cli
