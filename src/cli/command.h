#pragma once

#include <QCoroTask>
#include <QStringList>
#include <QTextStream>

#include <functional>
#include <vector>

namespace velotte::cli {

class Context;

// Exit statuses of every command.
enum Exit { ok = 0, failed = 1, usage = 2 };

// One command word of velottectl. Each command group registers its words
// from its own file.
struct Command {
    QString name;
    QString arguments; // e.g. "[N|+N|-N]"
    QString summary;
    QString help;      // shown by "velottectl NAME --help"
    bool needsHousehold = true; // the session is started before it runs
    std::function<QCoro::Task<int>(Context &, QStringList)> run;
};

std::vector<Command> &commands();

struct Registration {
    explicit Registration(std::vector<Command> list)
    {
        for (auto &c : list)
            commands().push_back(std::move(c));
    }
};

} // namespace velotte::cli
