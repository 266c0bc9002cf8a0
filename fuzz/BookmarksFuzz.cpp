// Bookmarks as they may stand in the settings.

#include "Bookmark.h"

#include <cstdint>
#include <cstdlib>

using namespace frameflow;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray bookmark(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const FileUrl remembered = rememberedFolder(bookmark);
    const auto resolved = resolveBookmark(bookmark);
    for (const FileUrl& folder : {remembered, resolved ? resolved->folder : FileUrl()}) {
        if (!folder.isEmpty() && (!folder.path().startsWith('/') || folder.path().contains('\0'))) {
            std::abort();
        }
    }
    return 0;
}
