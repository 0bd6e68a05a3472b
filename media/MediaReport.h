#pragma once

#include "platform/AppFolder.h"
#include "process/CommandLine.h"

#include <QString>

namespace tonmill {

class ActivityLog;
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
    MediaReport(const AppFolder &folder, ReadOutput &reader, ConsolePane &pane, ActivityLog &log);

    CommandLine commandFor(const QString &sourcePath) const;
    // Nothing happens for an empty path. Otherwise the previous report goes
    // first, so that a report that fails leaves none rather than another
    // file's: when the tool cannot run, fails, or prints no report, the log
    // says so and why, and no fileData.ini is left. The source can still be
    // converted. True when a report was written.
    bool RunMediaReport(const QString &txtPath);
    // Why the last report failed, as logged; empty when it did not.
    const QString &lastFailure() const { return m_lastFailure; }

    QString reportFile() const { return m_folder.file(QStringLiteral("fileData.ini")); }

private:
    QString failureOfRun(const QString &readerError) const;
    bool fail(const QString &txtPath, const QString &why);

    AppFolder m_folder;
    ReadOutput &m_reader;
    ConsolePane &m_pane;
    ActivityLog &m_log;
    QString m_lastFailure;
};

} // namespace tonmill
