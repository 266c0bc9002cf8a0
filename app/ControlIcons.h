#pragma once

#include <QIcon>
#include <QString>

namespace frameflow {

// The sign of a command on a button of the control panel, by the command's id; null for one that has none. It is drawn
// anew in the colours of the moment, at any size. The one of "Play" shows what a click does: it is another while
// checked.
QIcon controlIcon(const QString& command);

} // namespace frameflow
