#pragma once

#include "TestFiles.h"

#include <QByteArrayList>
#include <QMap>
#include <QString>

namespace frameflow {

// Applications of the desktop that write down what they are asked to open, and do nothing else. They are installed for
// the user of the test, in $XDG_DATA_HOME and $XDG_CONFIG_HOME. The desktop is asked once in a process, so all of them
// must be there before the first look, and the object must live to the end.
class ProbeApplications
{
public:
    ProbeApplications();

    // Its categories and the types that it opens are lists as in a desktop entry. Answers the path of the entry.
    QString add(const QByteArray& name, const QByteArray& categories, const QByteArrayList& types,
        const QByteArray& fieldCode = "%f");
    void setDefault(const QByteArray& type, const QByteArray& name);

    // What it has been asked to open, in that order.
    QByteArrayList openedBy(const QByteArray& name) const;
    // The signals that it does not hear, as the kernel writes them; empty before it was started.
    QByteArray blockedSignals(const QByteArray& name) const;
    void forget() const;

private:
    void writeLists() const;

    TestFolder mFolder;
    QByteArrayList mNames;
    QMap<QByteArray, QByteArrayList> mByType;
    QMap<QByteArray, QByteArray> mDefaults;
};

} // namespace frameflow
