#include "settings/Translations.h"

#include "platform/TextEncoding.h"
#include "settings/BuiltInLanguages.h"
#include "settings/FileReplace.h"

namespace tonmill {

void WriteLanguageFile(const QString &language, const QString &file)
{
    QByteArray content;
    for (const QString &line : builtInLanguageLines(language))
        content += encodeText(line) + "\r\n";
    replaceFile(file, content);
}

} // namespace tonmill
