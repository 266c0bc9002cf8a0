#pragma once

#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace frameflow {

// What an application is chosen for.
enum class OpenedKind
{
    Images,
    Movies,
};

// An application of the desktop, as its desktop entry describes it.
struct Application
{
    QString path; // of the desktop entry
    QString name; // in the person's language
    QString icon; // a name for the icon theme, or the absolute path of a picture; empty for none
    QStringList types; // the MIME types that it says it opens
};

// All that the desktop's menus show, in the order of their names. Any thread. May block on a slow file system.
std::vector<Application> installedApplications();

// Absent where there is no desktop entry, or the program that it starts is not installed. Any thread. May block on a
// slow file system, but not on a path that leads to no ordinary file.
std::optional<Application> applicationAt(const QString& path);

// Whether it can be chosen: for images one that declares an image type, for movies one that declares QuickTime movies,
// for both one that declares every type. Types are compared case-sensitively, as the desktop does. Any thread.
bool canOpen(const Application& application, OpenedKind kind);

} // namespace frameflow
