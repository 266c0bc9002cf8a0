#include "PrintableText.h"

namespace frameflow {

QString printable(QString name)
{
    for (QChar& character : name) {
        if (!character.isPrint() && !character.isSurrogate()) {
            character = QChar::ReplacementCharacter;
        }
    }
    return name;
}

} // namespace frameflow
