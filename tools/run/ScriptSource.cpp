#include "tools/run/ScriptSource.h"

#include "media/SourceFacts.h"
#include "tools/avs/AvsScript.h"

#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

namespace tonmill::run {

namespace {
// The up-mix script ends by putting six channels into the AC-3 order that its
// encoder takes; a script without that line keeps its source's order.
bool reordersForAc3(const QString &scriptPath)
{
    static const QRegularExpression reorder(
        QStringLiteral(R"(GetChannel\s*\(\s*last\s*,\s*1\s*,\s*3\s*,\s*2\s*,\s*5\s*,\s*6\s*,\s*4\s*\))"),
        QRegularExpression::CaseInsensitiveOption);
    QFile script(scriptPath);
    return script.open(QIODevice::ReadOnly) && reorder.match(QString::fromUtf8(script.readAll())).hasMatch();
}

// The cover that the program found when it measured the first input.
int knownCoverStream(const AudioSource &source)
{
    QString path = sourceFiles(source).value(0);
    if (path.startsWith(QLatin1String("file:")))
        path.remove(0, 5);
    const std::optional<AudioStreamInfo> facts = knownSourceFacts(qgetenv(kSourceFactsVariable), path);
    return facts ? facts->coverStream : -1;
}

} // namespace

SourceResult openSource(const QString &input, const QString &ffmpegPath)
{
    SourceResult result;
    const QFileInfo info(input);
    if (!info.exists()) {
        result.error = QStringLiteral("the source file \"%1\" does not exist").arg(input);
        return result;
    }
    if (!info.isFile() || !info.isReadable()) {
        result.error = QStringLiteral("the source \"%1\" is not a readable file").arg(input);
        return result;
    }
    if (info.suffix().compare(QLatin1String("avs"), Qt::CaseInsensitive) != 0) {
        result.ok = true;
        result.source = plainSource(input);
        result.source.coverStream = knownCoverStream(result.source);
        return result;
    }
    const avs::CompileResult compiled = avs::compileScript(input, ffmpegPath);
    if (!compiled.ok) {
        result.error = QStringLiteral("cannot run the script: %1").arg(compiled.error);
        return result;
    }
    AudioSource &s = result.source;
    s.inputArguments = compiled.graph.inputArguments;
    s.filterComplex = compiled.graph.filterComplex;
    s.outputLabel = compiled.graph.outputLabel;
    s.channels = compiled.graph.channels;
    s.sampleRate = compiled.graph.sampleRate;
    s.durationSeconds = compiled.graph.durationSeconds;
    s.ac3ChannelOrder = reordersForAc3(input);
    s.coverStream = knownCoverStream(s);
    result.ok = true;
    return result;
}

} // namespace tonmill::run
