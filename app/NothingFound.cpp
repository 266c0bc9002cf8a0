#include "NothingFound.h"

#include "PrintableText.h"

#include <QCoreApplication>

#include <sys/stat.h>

namespace frameflow {

namespace {

// Long names are cut in the middle at this many pixels; the tool tip has the whole.
constexpr int longestName = 420;

QString translated(const char* text)
{
    return QCoreApplication::translate("WelcomeMessage", text);
}

QString sentenceAbout(const FileUrl& file)
{
    struct stat attributes
    {
    };
    if (stat(file.path().constData(), &attributes) != 0) {
        return translated("“%1” was not found.");
    }
    return S_ISDIR(attributes.st_mode) ? translated("No pictures or movies were found in “%1”.")
                                       : translated("“%1” cannot be shown.");
}

} // namespace

WelcomeMessage welcomeMessage(const QList<FileUrl>& opened, const QFontMetrics& font)
{
    if (opened.isEmpty()) {
        return {
            translated("Welcome to Frameflow"), translated("Open a folder or some files to start a slideshow."), {}};
    }
    const QString title = translated("Nothing to show");
    if (opened.size() > 1) {
        return {title, translated("No pictures or movies were found in what was opened."), {}};
    }
    const QString path = printable(opened.first().displayPath());
    return {title, sentenceAbout(opened.first()).arg(font.elidedText(path, Qt::ElideMiddle, longestName)), path};
}

} // namespace frameflow
