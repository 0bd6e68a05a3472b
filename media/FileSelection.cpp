#include "media/FileSelection.h"

#include "media/MediaReport.h"
#include "options/MainFormState.h"
#include "options/OptionState.h"
#include "platform/Dialogs.h"
#include "settings/ProfileText.h"

#include <QFile>

#include <array>
#include <utility>

namespace tonmill {

// Whatever ffmpeg decodes converts; "All audio" names the usual kinds, films
// with sound among them, and comes first so that they show at once.
const QString FileSelection::kOpenFilter = QStringLiteral(
    "All audio|*.wav;*.mp3;*.flac;*.ogg;*.oga;*.opus;*.m4a;*.m4b;*.mp4;*.aac;*.ac3;*.eac3;*.dts;*.aif;*.aiff;*.aifc;"
    "*.caf;*.mka;*.wma;*.mp2;*.mpa;*.amr;*.ape;*.wv;*.tta;*.au;*.avs;*.mkv;*.webm;*.mov;*.avi;*.mpg;*.mpeg"
    "|Audio Files|*.aac;*.ac3;*.avs;*.dts;*.mp2;*.mpa;*.wma;*.wav;*.wav;*.mp3;*.ra;*.rmj|All Files|*.*");

FileSelection::FileSelection(MainFormState &form, const OptionState &options, Dialogs &dialogs, MediaReport &report,
                             const AppFolder &folder)
    : m_form(form)
    , m_options(options)
    , m_dialogs(dialogs)
    , m_report(report)
    , m_folder(folder)
{
}

QStringList FileSelection::audioPatterns()
{
    static const QStringList patterns = kOpenFilter.section(QLatin1Char('|'), 1, 1).split(QLatin1Char(';'));
    return patterns;
}

QString FileSelection::saveFilter(const QString &txtFormat)
{
    static const std::array<QString, 12> filters = {
        QStringLiteral("AAC Files|*.aac"), QStringLiteral("AC3 Files|*.ac3"), QStringLiteral("AMR Files|*.amr"),
        QStringLiteral("MP2/MPA Files|*.mp2"), QStringLiteral("MP3 Files|*.mp3"), QStringLiteral("WAV Files|*.wav"),
        QStringLiteral("WMA Files|*.wma"), QStringLiteral("FLAC Files|*.flac"), QStringLiteral("Opus Files|*.opus"),
        QStringLiteral("Ogg Vorbis Files|*.ogg"), QStringLiteral("M4A Files|*.m4a"), QStringLiteral("ALAC Files|*.m4a"),
    };
    bool ok = false;
    const int number = txtFormat.toInt(&ok);
    if (!ok || number < 1 || number > int(filters.size()) || txtFormat != QString::number(number))
        return {};
    return filters[number - 1];
}

void FileSelection::OpenSourceFile()
{
    m_dialogFileName = m_dialogs.fileName(
        {FileRequest::Mode::Open, QStringLiteral("  Open"), kOpenFilter, m_dialogFileName});
    loadSource(m_dialogFileName);
}

void FileSelection::loadSource(const QString &path)
{
    m_form.txtPath = path;
    txtPath_Change();
    m_report.RunMediaReport(m_form.txtPath);
    LoadTagsFromReport();
}

void FileSelection::LoadTagsFromReport()
{
    QByteArray report;
    if (QFile file(m_report.reportFile()); file.open(QIODevice::ReadOnly))
        report = file.readAll();
    // The report's keys for each field, in the order of the form's tag
    // fields; the media tool names a Vorbis comment's COMMENT "Description".
    const std::array<QStringList, 7> keys = {{
        {QStringLiteral("Title")},
        {QStringLiteral("Author")},
        {QStringLiteral("Album")},
        {QStringLiteral("Date")},
        {QStringLiteral("Comment"), QStringLiteral("Description")},
        {QStringLiteral("Genre")},
        {QStringLiteral("Track")},
    }};
    const std::array<QString *, 7> fields = m_form.tagFields();
    for (std::size_t i = 0; i < fields.size(); ++i) {
        fields[i]->clear();
        for (const QString &key : keys[i]) {
            if (fields[i]->isEmpty())
                *fields[i] = profileValue(report, QStringLiteral("General"), key);
        }
        m_form.reportTags[i] = *fields[i];
    }
    // For a WMA file with an album artist the media tool names that one
    // "Performer" (the report's first "Author"), and the file's own author
    // after it.
    bool inGeneral = false;
    for (const QString &raw : QString::fromUtf8(report).split(QLatin1Char('\n'))) {
        const QString line = raw.trimmed();
        if (line.startsWith(QLatin1Char('[')))
            inGeneral = line == QLatin1String("[General]");
        else if (inGeneral && line.startsWith(QLatin1String("Author=")))
            m_form.txtArtist = m_form.reportTags[1] = line.mid(7);
    }
}

void FileSelection::ChooseOutputFile()
{
    const QString filter = saveFilter(m_options.txtFormat);
    if (!filter.isEmpty()) {
        m_dialogFileName = m_dialogs.fileName(
            {FileRequest::Mode::Save, QStringLiteral("  Save as..."), filter, m_dialogFileName});
        m_form.lblOutputPath = m_dialogFileName;
    }
    m_form.chkSameOutput = false;
    if (m_form.lblOutputPath.isEmpty())
        m_form.chkSameOutput = true;
}

void FileSelection::chkSameOutput_Click(bool checked)
{
    m_form.chkSameOutput = checked;
    if (!m_form.lblOutputPath.isEmpty())
        m_form.TempOutput = m_form.lblOutputPath;
    m_form.lblOutputPath = checked ? QString() : m_form.TempOutput;
}

void FileSelection::txtPath_Change()
{
    m_form.sourceControlsEnabled = !m_form.txtPath.isEmpty();
}

} // namespace tonmill
