#include "OwnDisplay.h"

#include <QByteArray>
#include <QFile>

#include <vector>

#include <unistd.h>

namespace frameflow::e2e {

void startOnOwnDisplay(int argc, char** argv)
{
    if (qEnvironmentVariableIsSet("FRAMEFLOW_TEST_HOME")) {
        return;
    }
    std::vector<char*> arguments{argv, argv + argc};
    static char mode[] = "display";
    static char script[] = RUN_ISOLATED;
    QByteArray self = QFile::symLinkTarget(QStringLiteral("/proc/self/exe")).toUtf8();
    arguments[0] = self.data();
    arguments.insert(arguments.begin(), {script, mode});
    arguments.push_back(nullptr);
    qputenv("FRAMEFLOW_TEST_SCREEN", "1920x1080x24");
    execv(script, arguments.data());
    qFatal("%s cannot be run", script);
}

} // namespace frameflow::e2e
