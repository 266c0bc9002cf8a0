// update_program HOST CERTIFICATES [FOLDER]: the program, version 2.4, with another update server than it was built
// for.

#include "SlideController.h"

#include <QApplication>

int main(int argc, char** argv)
{
    using namespace frameflow;
    if (argc < 3) {
        return 2;
    }
    int noArguments = 1;
    QApplication application(noArguments, argv);
    QApplication::setApplicationName(QStringLiteral("frameflow"));
    QApplication::setApplicationDisplayName(QStringLiteral("Frameflow"));
    QApplication::setApplicationVersion(QStringLiteral("2.4"));
    QApplication::setQuitOnLastWindowClosed(false);
    SystemClock clock;
    UserDefaults defaults(UserDefaults::standardFilePath());
    UpdateServer server;
    server.host = argv[1];
    server.options.certificateFile = argv[2];
    SlideController controller(defaults, clock, QApplication::applicationDirPath(), server);
    controller.awakeFromNib();
    if (argc > 3) {
        controller.applicationOpenFiles({FileUrl::fromPath(QByteArray(argv[3]))});
    } else {
        controller.applicationDidFinishLaunching();
    }
    return QApplication::exec();
}
