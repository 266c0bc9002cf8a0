#pragma once

#include "FileUrl.h"

#include <QFontMetrics>
#include <QList>

namespace frameflow {

// What a person is told when there is nothing on screen.
struct WelcomeMessage
{
    QString title;
    QString text;
    QString toolTip; // what has been cut in the text, in full
};

// After those were opened, with nothing displayable among them; none when nothing has been opened yet. Asks the system
// for what it was.
WelcomeMessage welcomeMessage(const QList<FileUrl>& opened, const QFontMetrics& font);

} // namespace frameflow
