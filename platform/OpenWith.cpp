#include "OpenWith.h"

#include "Applications.h"
#include "FileTypes.h"

#include <QFile>

#include <algorithm>
#include <csignal>
#include <iterator>
#include <memory>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <sys/stat.h>
#include <unistd.h>

namespace frameflow {

namespace {

struct Release
{
    void operator()(void* object) const { g_object_unref(object); }
    void operator()(char* text) const { g_free(text); }
};
template <typename T>
using Owned = std::unique_ptr<T, Release>;
using App = Owned<GAppInfo>;

bool isEditor(GAppInfo* app)
{
    static const QByteArray editing[]
        = {"RasterGraphics", "VectorGraphics", "Photography", "2DGraphics", "AudioVideoEditing"};
    const QByteArray categories
        = G_IS_DESKTOP_APP_INFO(app) ? g_desktop_app_info_get_categories(G_DESKTOP_APP_INFO(app)) : nullptr;
    const auto all = categories.split(';');
    return std::any_of(
        std::begin(editing), std::end(editing), [&](const QByteArray& category) { return all.contains(category); });
}

App firstRecommendedEditor(const char* type)
{
    GList* const recommended = g_app_info_get_recommended_for_type(type);
    App editor;
    for (const GList* entry = recommended; entry != nullptr && !editor; entry = entry->next) {
        auto* const app = static_cast<GAppInfo*>(entry->data);
        if (isEditor(app)) {
            editor.reset(G_APP_INFO(g_object_ref(app)));
        }
    }
    g_list_free_full(recommended, g_object_unref);
    return editor;
}

// Null for none.
App desktopsChoice(const FileUrl& file)
{
    const QByteArray type = mimeTypeForName(file.fileName()).toUtf8();
    if (type.isEmpty()) {
        return nullptr;
    }
    App usual(g_app_info_get_default_for_type(type.constData(), FALSE));
    if (usual && isEditor(usual.get())) {
        return usual;
    }
    App editor = firstRecommendedEditor(type.constData());
    return editor ? std::move(editor) : std::move(usual);
}

// Null where it is no desktop entry of an installed application.
App applicationOf(const QString& desktopEntry)
{
    // Looked at first: what stands there may be no ordinary file, or endless.
    if (!applicationAt(desktopEntry)) {
        return nullptr;
    }
    GDesktopAppInfo* const app = g_desktop_app_info_new_from_filename(QFile::encodeName(desktopEntry).constData());
    return App(app != nullptr ? G_APP_INFO(app) : nullptr);
}

// In the new process: it outlives this program and its terminal, and hears the signals that this program keeps to
// itself.
void becomeIndependent(gpointer /*data*/)
{
    setsid();
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool launch(GAppInfo* app, const char* address)
{
    GList addresses{const_cast<char*>(address), nullptr, nullptr};
    const auto flags
        = static_cast<GSpawnFlags>(G_SPAWN_SEARCH_PATH | G_SPAWN_STDOUT_TO_DEV_NULL | G_SPAWN_STDERR_TO_DEV_NULL);
    const bool started = G_IS_DESKTOP_APP_INFO(app)
        && g_desktop_app_info_launch_uris_as_manager(G_DESKTOP_APP_INFO(app), &addresses, nullptr, flags,
               becomeIndependent, nullptr, nullptr, nullptr, nullptr)
            != FALSE;
    // One that only the session's bus can start.
    return started || g_app_info_launch_uris(app, &addresses, nullptr, nullptr) != FALSE;
}

} // namespace

bool openInEditor(const FileUrl& file, const QString& desktopEntry)
{
    struct stat attributes
    {
    };
    if (file.isEmpty() || stat(file.path().constData(), &attributes) != 0) {
        return false;
    }
    const App app = desktopEntry.isEmpty() ? desktopsChoice(file) : applicationOf(desktopEntry);
    return app && launch(app.get(), file.encoded().constData());
}

bool openInBrowser(const QByteArray& address)
{
    const Owned<char> scheme(g_uri_parse_scheme(address.constData()));
    const App browser(scheme ? g_app_info_get_default_for_uri_scheme(scheme.get()) : nullptr);
    // Inside a sandbox there is no browser to be seen; the desktop opens the page all the same.
    return browser ? launch(browser.get(), address.constData())
                   : g_app_info_launch_default_for_uri(address.constData(), nullptr, nullptr) != FALSE;
}

} // namespace frameflow
