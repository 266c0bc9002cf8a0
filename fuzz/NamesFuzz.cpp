// Names and addresses of files: from folders, the command line, drops, and other programs.

#include "FileTypes.h"
#include "FileUrl.h"
#include "FileUrls.h"
#include "LaunchToken.h"
#include "NameKey.h"
#include "PrintableText.h"

#include <QUrl>

#include <climits>
#include <cstdint>
#include <cstdlib>

using namespace frameflow;

namespace {

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

void checkFile(const FileUrl& file)
{
    if (file.isEmpty()) {
        return;
    }
    require(file.path().startsWith('/'));
    static_cast<void>(mediaKindForName(file.fileName()));
    static_cast<void>(isRawName(file.fileName()));
    static_cast<void>(nameKey(file.fileName()));
    static_cast<void>(readFromTheLeft(printable(file.displayPath())));
    require(FileUrl::fromArgument(file.path()) == file);
    if (file.path().size() < PATH_MAX && !file.path().contains('\0')) {
        require(filesFromUrls({file.toUrl().toEncoded()}) == QList<FileUrl>{file});
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    checkFile(FileUrl::fromArgument(text));
    checkFile(FileUrl::fromUrl(QUrl::fromEncoded(text)));
    for (const FileUrl& file : filesFromUrls(text.split('\n'))) {
        checkFile(file);
    }
    static_cast<void>(extensionOfName(text));
    static_cast<void>(nameKey(text));
    const LaunchToken token{LaunchToken::checked(text), {}};
    static_cast<void>(token.time());
    return 0;
}
