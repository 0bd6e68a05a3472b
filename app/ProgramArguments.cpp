#include "app/ProgramArguments.h"

#include "convert/NamePattern.h"
#include "options/FormatOptions.h"
#include "platform/AppVersion.h"

#include <QCommandLineParser>

namespace tonmill {

namespace {

struct OptionSpec {
    QStringList names;
    const char *valueName; // empty: a flag
    const char *description;
};

// Every option, in the order the help lists them.
const QList<OptionSpec> &optionSpecs()
{
    static const QList<OptionSpec> specs = {
        {{QStringLiteral("h"), QStringLiteral("help")}, "", "Shows this help and exits."},
        {{QStringLiteral("version")}, "", "Shows the version and exits."},
        {{QStringLiteral("list-formats")}, "",
         "Lists the output formats with the settings keys of their options and the values they take, and exits."},
        {{QStringLiteral("home")}, "DIR",
         "Keeps the settings, the language file, the media report and the scripts in DIR."},
        {{QStringLiteral("convert")}, "SOURCE",
         "Converts SOURCE without a window; further files and folders may follow it."},
        {{QStringLiteral("recursive")}, "", "Searches the folders given to --convert in their subfolders too."},
        {{QStringLiteral("output-dir")}, "DIR", "Writes a batch's outputs below DIR instead of beside each source."},
        {{QStringLiteral("jobs")}, "N", "Runs N encoders at once in a batch, 1 to 64 (default: one per core)."},
        {{QStringLiteral("format")}, "FORMAT",
         "The output format: AAC, AC3, AMR, MP2/MPA, MP3, WAV, WMA, FLAC, OPUS, OGG, M4A or ALAC "
         "(default: the one the window last kept)."},
        {{QStringLiteral("output")}, "FILE", "The output file of a single source (default: beside the source)."},
        {{QStringLiteral("volume")}, "PERCENT", "The output volume, 0 to 1000 percent (default 100)."},
        {{QStringLiteral("normalize")}, "", "Normalises the peak."},
        {{QStringLiteral("loudness")}, "LUFS", "Brings the loudness to a target (EBU R128), -70 to -5 LUFS."},
        {{QStringLiteral("true-peak")}, "DBTP", "The true-peak ceiling of --loudness, -9 to 0 dBTP (default -1)."},
        {{QStringLiteral("replaygain")}, "track|album",
         "Writes ReplayGain gain and peak tags and leaves the audio as it is; with album, a batch is measured "
         "first and each file gets the album's gain besides its own."},
        {{QStringLiteral("upmix")}, "", "Up-mixes stereo to 5.1."},
        {{QStringLiteral("fade")}, "", "Fades in over the first 2 seconds and out over the last 2."},
        {{QStringLiteral("segment")}, "START END", "Converts only the part from START to END, in seconds."},
        {{QStringLiteral("title")}, "TEXT", "The title tag."},
        {{QStringLiteral("artist")}, "TEXT", "The artist tag."},
        {{QStringLiteral("album")}, "TEXT", "The album tag."},
        {{QStringLiteral("year")}, "YEAR", "The year tag."},
        {{QStringLiteral("notes")}, "TEXT", "The comment tag."},
        {{QStringLiteral("genre")}, "GENRE", "The genre tag."},
        {{QStringLiteral("track")}, "N", "The track number tag."},
        {{QStringLiteral("wma-profile")}, "NAME", "The WMA profile, by name or key (see --list-formats)."},
        {{QStringLiteral("replace")}, "", "Overwrites an output file that exists."},
        {{QStringLiteral("keep")}, "", "Keeps an output file that exists (the default), exiting with 3."},
        {{QStringLiteral("name-pattern")}, "PATTERN",
         "Names a batch's outputs below --output-dir (or below each folder given) from the source's tags and "
         "path: {artist} {albumartist} {album} {title} {track} {track:02} {disc} {year} {genre} {filename} "
         "{folder} {relpath}, as in \"{albumartist}/{album}/{track:02} {title}\"; the extension is added."},
        {{QStringLiteral("existing")}, "ask|skip|overwrite|rename",
         "What a batch does with an output that exists: ask (answered by --replace or --keep, by default kept), "
         "skip, overwrite, or rename to \"name (2).ext\". --replace is overwrite, --keep is skip."},
        {{QStringLiteral("trash-sources")}, "",
         "Moves each source to the desktop's trash once its output is complete and decodes to the source's length."},
        {{QStringLiteral("dry-run")}, "",
         "Prints for each source its output, what happens to an existing one and the encoder's command line, "
         "and writes nothing."},
    };
    return specs;
}

// The options that do not ask for a conversion.
const QStringList kProgramOptions = {
    QStringLiteral("h"), QStringLiteral("help"), QStringLiteral("version"), QStringLiteral("list-formats"),
    QStringLiteral("home"),
};

void addOptions(QCommandLineParser &parser)
{
    // "-home" reads as "--home", not as -h -o -m -e.
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    for (const OptionSpec &spec : optionSpecs()) {
        parser.addOption(QCommandLineOption(spec.names, QString::fromUtf8(spec.description),
                                            QString::fromUtf8(spec.valueName)));
    }
    parser.addPositionalArgument(
        QStringLiteral("FILE"),
        QStringLiteral("Without --convert: what the window opens, several files or a folder in Batch Mode. "
                       "With it: further sources."),
        QStringLiteral("[FILE...]"));
}

// The list's spelling of a format name given in any letter case.
QString formatName(const QString &given)
{
    for (const QString &name : kFormatList.split(QLatin1Char('|'))) {
        if (name.compare(given, Qt::CaseInsensitive) == 0)
            return name;
    }
    return {};
}

// The WMA profile list's name for a name or key given in any letter case.
QString wmaProfileName(const QString &given)
{
    for (const QString &name : kWMAProfiles.split(QLatin1Char('|'))) {
        if (name.compare(given, Qt::CaseInsensitive) == 0
            || wmaProfileKey(name).compare(given, Qt::CaseInsensitive) == 0)
            return name;
    }
    return {};
}

bool isSeconds(const QString &text)
{
    bool ok = false;
    const double value = text.trimmed().toDouble(&ok);
    return ok && value >= 0 && value < 1e9;
}

// --segment takes two words, the parser one: the end is the word after the
// start's, which the parser counts among the positional arguments. Empty
// when there is none.
QString segmentEnd(const QStringList &arguments, const QString &start)
{
    QString end;
    for (qsizetype i = 1; i + 1 < arguments.size(); ++i) {
        const QString &word = arguments[i];
        if (word == QLatin1String("--"))
            break;
        const bool named = word == QLatin1String("--segment") || word == QLatin1String("-segment");
        if (named && i + 2 < arguments.size() && arguments[i + 1] == start)
            end = arguments[i + 2];
        else if (word == QLatin1String("--segment=") + start || word == QLatin1String("-segment=") + start)
            end = arguments[i + 1];
    }
    return end;
}

// The conversion that the parsed options ask for; an error when they
// contradict each other or a value is out of its range.
QString readRequest(const QCommandLineParser &parser, const QStringList &arguments, HeadlessRequest &r)
{
    const auto set = [&parser](const char *name) { return parser.isSet(QLatin1String(name)); };
    const auto value = [&parser](const char *name) { return parser.value(QLatin1String(name)); };

    QStringList positional = parser.positionalArguments();
    if (set("segment")) {
        r.segmentStart = value("segment");
        r.segmentEnd = segmentEnd(arguments, r.segmentStart);
        if (r.segmentEnd.isEmpty() || !positional.removeOne(r.segmentEnd))
            return QStringLiteral("--segment needs a start and an end in seconds");
        if (!isSeconds(r.segmentStart) || !isSeconds(r.segmentEnd))
            return QStringLiteral("--segment takes two times in seconds, not \"%1\" \"%2\"")
                .arg(r.segmentStart, r.segmentEnd);
        if (r.segmentEnd.toDouble() <= r.segmentStart.toDouble())
            return QStringLiteral("the segment's end must lie after its start");
        r.segment = true;
    }

    const QStringList convert = parser.values(QStringLiteral("convert"));
    if (convert.size() > 1)
        return QStringLiteral("--convert is given twice");
    if (convert.constFirst().isEmpty())
        return QStringLiteral("--convert needs a file");
    r.source = convert.constFirst();
    r.sources = QStringList{r.source} + positional;

    r.recursive = set("recursive");
    if (set("output-dir")) {
        r.outputDir = value("output-dir");
        if (r.outputDir.isEmpty())
            return QStringLiteral("--output-dir needs a folder");
    }
    if (set("jobs")) {
        bool ok = false;
        r.jobs = value("jobs").trimmed().toInt(&ok);
        if (!ok || r.jobs < 1 || r.jobs > 64)
            return QStringLiteral("--jobs takes a whole number from 1 to 64, not \"%1\"").arg(value("jobs"));
    }
    if (set("format")) {
        r.format = formatName(value("format"));
        if (r.format.isEmpty())
            return QStringLiteral("unknown format \"%1\"").arg(value("format"));
    }
    if (set("output")) {
        r.output = value("output");
        if (r.output.isEmpty())
            return QStringLiteral("--output needs a file");
    }
    if (set("volume")) {
        bool ok = false;
        const int percent = value("volume").trimmed().toInt(&ok);
        if (!ok || percent < 0 || percent > 1000)
            return QStringLiteral("--volume takes a whole percentage from 0 to 1000, not \"%1\"").arg(value("volume"));
        r.volume = percent;
    }
    r.normalize = set("normalize");
    r.upmix = set("upmix");
    if (set("loudness")) {
        bool ok = false;
        r.loudness.targetLufs = value("loudness").trimmed().toDouble(&ok);
        if (!ok || r.loudness.targetLufs < kLowestTarget || r.loudness.targetLufs > kHighestTarget)
            return QStringLiteral("--loudness takes a target from %1 to %2 LUFS, not \"%3\"")
                .arg(kLowestTarget).arg(kHighestTarget).arg(value("loudness"));
        r.loudness.mode = LoudnessChoice::Mode::Normalize;
    }
    if (set("true-peak")) {
        bool ok = false;
        r.loudness.truePeakDbtp = value("true-peak").trimmed().toDouble(&ok);
        if (!ok || r.loudness.truePeakDbtp < kLowestCeiling || r.loudness.truePeakDbtp > kHighestCeiling)
            return QStringLiteral("--true-peak takes a ceiling from %1 to %2 dBTP, not \"%3\"")
                .arg(kLowestCeiling).arg(kHighestCeiling).arg(value("true-peak"));
    }
    if (set("replaygain") && value("replaygain") != QLatin1String("track") && value("replaygain") != QLatin1String("album"))
        return QStringLiteral("--replaygain takes \"track\" or \"album\", not \"%1\"").arg(value("replaygain"));
    r.loudness.album = set("replaygain") && value("replaygain") == QLatin1String("album");
    r.fade = set("fade");

    const std::pair<const char *, std::optional<QString> *> tags[] = {
        {"title", &r.title}, {"artist", &r.artist}, {"album", &r.album}, {"year", &r.year},
        {"notes", &r.notes}, {"genre", &r.genre},   {"track", &r.track},
    };
    for (const auto &[name, field] : tags) {
        if (set(name))
            *field = value(name);
    }
    if (set("wma-profile")) {
        r.wmaProfile = wmaProfileName(value("wma-profile"));
        if (r.wmaProfile.isEmpty())
            return QStringLiteral("unknown WMA profile \"%1\"").arg(value("wma-profile"));
    }
    r.replace = set("replace");
    r.keep = set("keep");

    if (r.replace && r.keep)
        return QStringLiteral("--replace and --keep exclude each other");
    if (set("existing")) {
        const std::optional<ExistingPolicy> policy = existingPolicyNamed(value("existing"));
        if (!policy)
            return QStringLiteral("--existing takes ask, skip, overwrite or rename, not \"%1\"").arg(value("existing"));
        if ((r.replace && *policy != ExistingPolicy::Overwrite) || (r.keep && *policy != ExistingPolicy::Skip))
            return QStringLiteral("--replace is --existing overwrite and --keep is --existing skip; give one of them");
        r.existing = *policy;
    }
    if (set("name-pattern")) {
        r.namePattern = value("name-pattern");
        if (const QString why = patternRefusal(r.namePattern); !why.isEmpty())
            return QStringLiteral("--name-pattern \"%1\": %2").arg(r.namePattern, why);
    }
    r.trashSources = set("trash-sources");
    r.dryRun = set("dry-run");
    const bool loudness = r.loudness.mode == LoudnessChoice::Mode::Normalize;
    if (set("replaygain") && (loudness || r.normalize))
        return QStringLiteral("--replaygain leaves the audio as it is: it excludes --loudness and --normalize");
    if (loudness && r.normalize)
        return QStringLiteral("--loudness and --normalize exclude each other");
    if (set("true-peak") && !loudness)
        return QStringLiteral("--true-peak is the ceiling of --loudness");
    if (set("replaygain"))
        r.loudness.mode = LoudnessChoice::Mode::ReplayGain;
    if (r.isBatch() && (!r.output.isEmpty() || r.segment))
        return QStringLiteral("--output and --segment are for one file; a batch takes --output-dir");
    return {};
}

} // namespace

ProgramArguments parseProgramArguments(const QStringList &arguments)
{
    using Action = ProgramArguments::Action;
    ProgramArguments result;
    const auto invalid = [&result](const QString &error) {
        result.action = Action::Invalid;
        result.error = error;
        return result;
    };
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments)) {
        QString error = parser.errorText();
        if (error.endsWith(QLatin1Char('.')))
            error.chop(1);
        return invalid(error);
    }
    if (parser.isSet(QStringLiteral("help"))) {
        result.action = Action::Help;
        return result;
    }
    if (parser.isSet(QStringLiteral("version"))) {
        result.action = Action::Version;
        return result;
    }
    if (parser.isSet(QStringLiteral("list-formats"))) {
        result.action = Action::ListFormats;
        return result;
    }
    if (parser.isSet(QStringLiteral("home"))) {
        result.home = parser.value(QStringLiteral("home"));
        if (result.home.isEmpty())
            return invalid(QStringLiteral("--home needs a folder"));
    }
    if (!parser.isSet(QStringLiteral("convert"))) {
        for (const QString &name : parser.optionNames()) {
            if (!kProgramOptions.contains(name))
                return invalid(QStringLiteral("--%1 is for a conversion: --convert SOURCE is missing").arg(name));
        }
        result.files = parser.positionalArguments();
        return result;
    }
    if (const QString error = readRequest(parser, arguments, result.request); !error.isEmpty())
        return invalid(error);
    result.action = Action::Convert;
    return result;
}

QString programHelp()
{
    QCommandLineParser parser;
    addOptions(parser);
    // The parser's own usage line would name no program without an
    // application object; the options and their texts are what it adds.
    const QString generated = parser.helpText();
    return QStringLiteral(
               "Usage: tonmill [--home DIR] [FILE...]\n"
               "       tonmill [--home DIR] --convert SOURCE|FOLDER... [OPTION...]\n"
               "       tonmill --list-formats | --help | --version\n"
               "\n"
               "Without --convert, opens the window. With it, converts SOURCE without a window, as the\n"
               "Convert button does, and prints the activity log. Several sources, or folders (with\n"
               "--recursive their subfolders too), are converted as a batch, N at once, each beside its\n"
               "source or below --output-dir; one line is printed per finished file. Each format's own\n"
               "options (bit rate, rate, quality...) are those the window last kept in the [Options]\n"
               "section of Tonmill.ini (see --list-formats).\n"
               "\n")
           + generated.mid(generated.indexOf(QLatin1String("Options:")))
           + QStringLiteral(
               "\n"
               "Files: the settings (Tonmill.ini) and the language file (Tonmill.LNG) are kept in\n"
               "~/.config/Tonmill/, the media report and the scripts in ~/.cache/Tonmill/. A program\n"
               "folder that holds Tools/ and can be written keeps them itself; --home DIR keeps them in DIR.\n"
               "\n"
               "Exit status:\n"
               "  0        converted, or the help, version or format list was printed\n"
               "  1        failed; the cause is the last line on standard error\n"
               "  2        bad arguments, named in one line on standard error\n"
               "  3        the output file exists and was kept (give --replace to overwrite it)\n"
               "  128+N    ended by signal N (SIGINT, SIGTERM), the encoder aborted\n"
               "  N        in a batch: the number of files that did not convert (at most 125)\n");
}

QString programVersion()
{
    return QStringLiteral("Tonmill ") + versionText();
}

} // namespace tonmill
