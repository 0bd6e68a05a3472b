#include "convert/OutputPlan.h"

#include "convert/ConvertJob.h"
#include "platform/SameFile.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace tonmill {

namespace {

bool occupied(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() && (info.size() > 0 || info.isDir() || info.isSymLink());
}

// The output without a pattern: as a single file's beside its source,
// below outputDir in the source's subfolder under its base.
QString plainOutput(const QString &source, const QString &baseDir, const OutputNaming &naming)
{
    const QString beside = outputPathFor(source, QString(), true, naming.extension);
    if (naming.outputDir.isEmpty())
        return beside;
    const QString below = QDir(baseDir).relativeFilePath(QFileInfo(beside).absolutePath());
    return QDir::cleanPath(QDir(naming.outputDir).absoluteFilePath(below) + QLatin1Char('/')
                           + QFileInfo(beside).fileName());
}

} // namespace

std::optional<ExistingPolicy> existingPolicyNamed(const QString &name)
{
    for (const ExistingPolicy policy :
         {ExistingPolicy::Ask, ExistingPolicy::Skip, ExistingPolicy::Overwrite, ExistingPolicy::Rename}) {
        if (existingPolicyName(policy) == name.trimmed().toLower())
            return policy;
    }
    return std::nullopt;
}

QString existingPolicyName(ExistingPolicy policy)
{
    switch (policy) {
    case ExistingPolicy::Ask:
        return QStringLiteral("ask");
    case ExistingPolicy::Skip:
        return QStringLiteral("skip");
    case ExistingPolicy::Overwrite:
        return QStringLiteral("overwrite");
    case ExistingPolicy::Rename:
        return QStringLiteral("rename");
    }
    return {};
}

QString decisionName(PlannedOutput::Decision decision)
{
    using D = PlannedOutput::Decision;
    switch (decision) {
    case D::New:
        return QStringLiteral("new");
    case D::Ask:
        return QStringLiteral("ask");
    case D::Skip:
        return QStringLiteral("skip");
    case D::Overwrite:
        return QStringLiteral("overwrite");
    case D::Renamed:
        return QStringLiteral("renamed");
    }
    return {};
}

QString numberedPath(const QString &path, int n, int nameMax)
{
    const QFileInfo info(path);
    const QString extension = info.suffix();
    const QString name = info.fileName();
    const QString stem = extension.isEmpty() ? name : name.left(name.size() - extension.size() - 1);
    const QString number = QStringLiteral(" (%1)").arg(n);
    // The number is kept whole; the stem gives way to it.
    const int room = nameMax - int(number.toUtf8().size()) - (extension.isEmpty() ? 0 : int(extension.toUtf8().size()) + 1);
    const QString fitted = fitName(stem, QString(), room) + number;
    return info.dir().filePath(extension.isEmpty() ? fitted : fitted + QLatin1Char('.') + extension);
}

QList<PlannedOutput> planOutputs(const QStringList &sources, const QStringList &baseDirs, const OutputNaming &naming)
{
    using D = PlannedOutput::Decision;
    const bool probe = !naming.pattern.isEmpty() && patternUsesTags(naming.pattern) && naming.tags;
    QList<PlannedOutput> plan;
    QSet<QString> taken;
    QSet<QString> wanted;
    for (qsizetype i = 0; i < sources.size(); ++i) {
        PlannedOutput item;
        item.source = sources[i];
        QString output;
        int nameMax = 255;
        if (naming.pattern.isEmpty()) {
            output = plainOutput(sources[i], baseDirs.value(i), naming);
        } else {
            const QString root = naming.outputDir.isEmpty() ? baseDirs.value(i) : naming.outputDir;
            nameMax = nameMaxFor(root);
            const PatternSource source{sources[i], baseDirs.value(i), probe ? naming.tags(sources[i]) : SourceTags{}};
            output = expandPattern(naming.pattern, source, naming.fallbacks, root, naming.extension, nameMax);
        }
        const bool rename = naming.existing == ExistingPolicy::Rename;
        item.collided = wanted.contains(output);
        wanted.insert(output);
        QString free = output;
        // Whatever the policy, an output never takes the source's own place.
        for (int n = 2; taken.contains(free) || sameFile(free, sources[i]) || (rename && occupied(free)); ++n)
            free = numberedPath(output, n, nameMax);
        taken.insert(free);
        item.output = free;
        if (rename && free != output && occupied(output))
            item.decision = D::Renamed;
        else if (!occupied(free))
            item.decision = D::New;
        else if (naming.existing == ExistingPolicy::Skip)
            item.decision = D::Skip;
        else if (naming.existing == ExistingPolicy::Overwrite)
            item.decision = D::Overwrite;
        else
            item.decision = D::Ask;
        plan << item;
    }
    return plan;
}

} // namespace tonmill
