// Another program that uses a settings file: what the tests of UserDefaults start, race and kill.

#include "UserDefaults.h"

#include <QCoreApplication>
#include <QFile>

#include <csignal>
#include <cstdio>

#include <sys/resource.h>

using namespace frameflow;

namespace {

void turnEventLoop()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::processEvents();
}

// Writes five keys of its own round after round, in texts of constant length, and looks after every round whether all
// that it wrote before is still there.
int race(const QString& file, const QString& prefix, int rounds)
{
    UserDefaults defaults(file);
    for (int round = 0; round < rounds; ++round) {
        defaults.setValue(prefix + QString::number(round % 5), 10000 + round);
        turnEventLoop();
        if (!defaults.synchronize()) {
            return 2;
        }
        for (int past = std::max(0, round - 4); past <= round; ++past) {
            const auto kept = defaults.integerValue(prefix + QString::number(past % 5));
            if (kept != 10000 + past) {
                std::fprintf(
                    stderr, "round %d: %lld instead of %d\n", round, static_cast<long long>(kept), 10000 + past);
                return 1;
            }
        }
    }
    return 0;
}

int die(const QString& file)
{
    UserDefaults defaults(file);
    defaults.setValue(QStringLiteral("sort"), QStringLiteral("date"));
    defaults.setValue(QStringLiteral("slideInterval"), 7.5);
    turnEventLoop();
    return std::raise(SIGKILL);
}

// Lets no file grow beyond the limit, which is what a full disk comes to.
int fillDisk(const QString& file, rlim_t limit)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit bytes{limit, limit};
    UserDefaults defaults(file);
    setrlimit(RLIMIT_FSIZE, &bytes);
    defaults.setValue(QStringLiteral("cursor"), QString(100000, QLatin1Char('x')));
    turnEventLoop();
    const bool refused = !defaults.synchronize();
    const bool remembered = defaults.stringValue(QStringLiteral("cursor")).size() == 100000
        && defaults.stringValue(QStringLiteral("sort")) == QLatin1String("name");
    return refused && remembered ? 0 : 1;
}

int readUnreadable(const QString& file)
{
    UserDefaults defaults(file);
    defaults.setValue(QStringLiteral("sort"), QStringLiteral("date"));
    turnEventLoop();
    const bool refused = !defaults.synchronize();
    return refused && defaults.stringValue(QStringLiteral("sort")) == QLatin1String("date") ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString& command = arguments.at(1);
    const QString& file = arguments.at(2);
    if (command == QLatin1String("race")) {
        return race(file, arguments.at(3), arguments.at(4).toInt());
    }
    if (command == QLatin1String("die")) {
        return die(file);
    }
    if (command == QLatin1String("fill-disk")) {
        return fillDisk(file, arguments.at(3).toUInt());
    }
    return command == QLatin1String("read-unreadable") ? readUnreadable(file) : 3;
}
