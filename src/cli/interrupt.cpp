#include "interrupt.h"

#include <QSocketNotifier>

#include <csignal>
#include <sys/socket.h>
#include <unistd.h>

namespace velotte::cli {

namespace {
int g_fds[2] = {-1, -1};
void onSignal(int)
{
    const char c = 1;
    [[maybe_unused]] auto n = ::write(g_fds[0], &c, 1); // async-signal-safe hand-off
}
} // namespace

struct Interrupt::Impl {
    QSocketNotifier *notifier = nullptr;
};

Interrupt::Interrupt() : d(new Impl)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, g_fds) != 0)
        return;
    d->notifier = new QSocketNotifier(g_fds[1], QSocketNotifier::Read);
    Wakeup wake = m_wake;
    QObject::connect(d->notifier, &QSocketNotifier::activated, d->notifier, [wake] {
        char c;
        [[maybe_unused]] auto n = ::read(g_fds[1], &c, 1);
        wake.fire();
    });
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
}

Interrupt::~Interrupt()
{
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    delete d->notifier;
    if (g_fds[0] >= 0) {
        ::close(g_fds[0]);
        ::close(g_fds[1]);
        g_fds[0] = g_fds[1] = -1;
    }
    delete d;
}

} // namespace velotte::cli
