#pragma once

#include "platform/AppFolder.h"
#include "process/CommandLine.h"

#include <QString>

namespace tonmill {

class ConsolePane;
class ReadOutput;

// Turns the media tool's console text into the small INI report the program
// reads back: the prompt and the echoed command go, the stream headings become
// sections, "Label : Value" becomes "Label=Value", and four labels are renamed
// to the keys the tag editor asks for. The order of the steps matters: later
// ones rely on earlier ones.
QString normaliseMediaReport(QString paneText, const QString &commandText);

// The report as the File Info window shows it.
QString fileInfoDisplayText(QString reportText);

// Runs the media tool on the source through the output reader, leaves the
// normalised text in the console pane and writes fileData.ini.
class MediaReport {
public:
    MediaReport(const AppFolder &folder, ReadOutput &reader, ConsolePane &pane);

    CommandLine commandFor(const QString &sourcePath) const;
    // Nothing happens for an empty path. When the tool cannot run, or the
    // report cannot be written, the routine stops where it is.
    void RunMediaReport(const QString &txtPath);

    QString reportFile() const { return m_folder.file(QStringLiteral("fileData.ini")); }

private:
    AppFolder m_folder;
    ReadOutput &m_reader;
    ConsolePane &m_pane;
};

} // namespace tonmill
