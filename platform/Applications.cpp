#include "Applications.h"

#include <QCollator>
#include <QFile>
#include <QMimeDatabase>

#include <algorithm>
#include <memory>

#include <fcntl.h>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

constexpr qint64 largestEntry = 1 << 20;

struct Release
{
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(GKeyFile* file) const { g_key_file_unref(file); }
    void operator()(char* text) const { g_free(text); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;

QString iconOf(GAppInfo* info)
{
    GIcon* icon = g_app_info_get_icon(info); // not ours
    if (icon == nullptr) {
        return {};
    }
    if (G_IS_THEMED_ICON(icon)) {
        const char* const* names = g_themed_icon_get_names(G_THEMED_ICON(icon));
        return QString::fromUtf8(names != nullptr ? names[0] : nullptr);
    }
    if (G_IS_FILE_ICON(icon)) {
        const Owned<char> path(g_file_get_path(g_file_icon_get_file(G_FILE_ICON(icon))));
        return QFile::decodeName(path.get());
    }
    return {};
}

Application describe(GAppInfo* info, const QString& path)
{
    Application application;
    application.path = path;
    application.name = QString::fromUtf8(g_app_info_get_name(info));
    application.icon = iconOf(info);
    if (const char** types = g_app_info_get_supported_types(info)) {
        for (; *types != nullptr; ++types) {
            application.types.append(QString::fromUtf8(*types));
        }
    }
    return application;
}

// Absent for what is no ordinary file, or too large for a desktop entry.
std::optional<QByteArray> contentsOf(const QString& path)
{
    const int descriptor = open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        return {};
    }
    struct stat attributes
    {
    };
    const bool isEntry
        = fstat(descriptor, &attributes) == 0 && S_ISREG(attributes.st_mode) && attributes.st_size <= largestEntry;
    QFile file;
    std::optional<QByteArray> contents;
    if (isEntry && file.open(descriptor, QIODevice::ReadOnly)) {
        contents = file.read(largestEntry);
    }
    close(descriptor);
    return contents;
}

bool isEveryType(const QString& type)
{
    return type == QLatin1String("*/*") || type == QLatin1String("all/all") || type == QLatin1String("all/allfiles");
}

bool isOfKind(const QString& type, OpenedKind kind)
{
    return kind == OpenedKind::Images ? type.startsWith(QLatin1String("image/"))
                                      : type == QLatin1String("video/quicktime");
}

} // namespace

std::vector<Application> installedApplications()
{
    std::vector<Application> applications;
    GList* all = g_app_info_get_all();
    for (const GList* entry = all; entry != nullptr; entry = entry->next) {
        auto* info = static_cast<GAppInfo*>(entry->data);
        const char* path
            = G_IS_DESKTOP_APP_INFO(info) ? g_desktop_app_info_get_filename(G_DESKTOP_APP_INFO(info)) : nullptr;
        if (path != nullptr && g_app_info_should_show(info) != FALSE) {
            applications.push_back(describe(info, QFile::decodeName(path)));
        }
    }
    g_list_free_full(all, g_object_unref);
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::sort(applications.begin(), applications.end(), [&](const Application& a, const Application& b) {
        const int order = collator.compare(a.name, b.name);
        return order != 0 ? order < 0 : a.path < b.path;
    });
    return applications;
}

std::optional<Application> applicationAt(const QString& path)
{
    const auto contents = contentsOf(path);
    const Owned<GKeyFile> entry(g_key_file_new());
    if (!contents
        || g_key_file_load_from_data(
               entry.get(), contents->constData(), static_cast<gsize>(contents->size()), G_KEY_FILE_NONE, nullptr)
            == FALSE) {
        return {};
    }
    const Owned<GDesktopAppInfo> info(g_desktop_app_info_new_from_keyfile(entry.get()));
    return info ? std::optional(describe(G_APP_INFO(info.get()), path)) : std::nullopt;
}

bool canOpen(const Application& application, OpenedKind kind)
{
    const QMimeDatabase database;
    const QLatin1String every = kind == OpenedKind::Images ? QLatin1String("image/*") : QLatin1String("video/*");
    return std::any_of(application.types.begin(), application.types.end(), [&](const QString& type) {
        if (isEveryType(type) || type == every || isOfKind(type, kind)) {
            return true;
        }
        const QMimeType known = database.mimeTypeForName(type);
        const QStringList general = known.isValid() ? known.allAncestors() + QStringList{known.name()} : QStringList();
        return std::any_of(
            general.begin(), general.end(), [&](const QString& ancestor) { return isOfKind(ancestor, kind); });
    });
}

} // namespace frameflow
