#include "StartArguments.h"

namespace frameflow {

QList<FileUrl> filesFromArguments(const QList<QByteArray>& arguments)
{
    QList<FileUrl> files;
    for (const QByteArray& argument : arguments) {
        const FileUrl file = FileUrl::fromArgument(argument);
        if (!file.isEmpty()) {
            files.append(file);
        }
    }
    return files;
}

} // namespace frameflow
