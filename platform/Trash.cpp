#include "Trash.h"

#include <gio/gio.h>

namespace frameflow {

// GIO rather than QFile::moveToTrash: it takes the native bytes of a path, so names that are not UTF-8 work too.
bool moveToTrash(const FileUrl& file)
{
    if (file.isEmpty()) {
        return false;
    }
    GFile* handle = g_file_new_for_path(file.path().constData());
    const bool moved = g_file_trash(handle, nullptr, nullptr) != FALSE;
    g_object_unref(handle);
    return moved;
}

} // namespace frameflow
