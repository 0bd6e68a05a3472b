#include "tools/avs/FilterGraphCompiler.h"

#include "tools/avs/SourceProbe.h"

#include <QSet>

#include <array>
#include <cmath>

namespace tonmill::avs {

namespace {

QString number(double value)
{
    return QString::number(value, 'g', 12);
}

QString integer(qint64 value)
{
    return QString::number(value);
}

// Each output channel as pan writes it: "c0=0.5*c0+0.5*c1".
QString panArguments(const ClipNode &node)
{
    QStringList parts{layoutName(node.channels)};
    for (qsizetype out = 0; out < node.matrix.size(); ++out) {
        QString sum;
        for (qsizetype in = 0; in < node.matrix[out].size(); ++in) {
            const double gain = node.matrix[out][in];
            if (gain == 0)
                continue;
            if (!sum.isEmpty() || gain < 0)
                sum += gain < 0 ? QStringLiteral("-") : QStringLiteral("+");
            const double size = std::abs(gain);
            sum += (size == 1 ? QString() : number(size) + QLatin1Char('*')) + QStringLiteral("c") + integer(in);
        }
        if (sum.isEmpty())
            sum = QStringLiteral("0*c0");
        parts << QStringLiteral("c%1=%2").arg(out).arg(sum);
    }
    return QStringLiteral("pan=") + parts.join(QLatin1Char('|'));
}

class GraphWriter {
public:
    GraphWriter(GraphMode mode, const NormalizeGains &gains)
        : m_mode(mode)
        , m_gains(gains)
    {
    }

    FfmpegGraph write(const Clip &root)
    {
        const std::vector<const ClipNode *> order = postOrder(root);
        QHash<const ClipNode *, int> uses;
        for (const ClipNode *node : order) {
            for (const Clip &input : node->inputs)
                ++uses[input.get()];
        }
        QStringList chains;
        for (size_t id = 0; id < order.size(); ++id) {
            const ClipNode *node = order[id];
            QString in;
            for (const Clip &input : node->inputs)
                in += m_labels[input.get()].takeFirst();
            if (node->op == ClipNode::Op::Source) {
                in = QStringLiteral("[%1:a:0]").arg(m_graph.inputArguments.size() / 2);
                m_graph.inputArguments << QStringLiteral("-i") << SourceProbe::inputUrl(node->path);
            }
            const QString out = node == root.get() ? QStringLiteral("[out]") : QStringLiteral("[c%1]").arg(id);
            chains << in + filters(*node) + out;
            const int n = uses.value(node);
            if (n > 1) {
                // A pad feeds one filter; a clip used n times is split n ways.
                QString split = out + QStringLiteral("asplit=") + integer(n);
                for (int k = 0; k < n; ++k) {
                    const QString label = QStringLiteral("[c%1_%2]").arg(id).arg(k);
                    split += label;
                    m_labels[node] << label;
                }
                chains << split;
            } else {
                m_labels[node] << out;
            }
        }
        m_graph.filterComplex = chains.join(QLatin1Char(';'));
        m_graph.outputLabel = QStringLiteral("[out]");
        m_graph.channels = root->channels;
        m_graph.sampleRate = root->sampleRate;
        m_graph.durationSeconds = root->durationSeconds();
        return m_graph;
    }

private:
    // Cuts or pads to the exact length; when scanning for the peak the
    // padding is left out, since silence never raises it.
    QString length(qint64 samples) const
    {
        QString f = QStringLiteral("asetpts=N/SR/TB,atrim=end_sample=") + integer(samples);
        if (m_mode == GraphMode::Render)
            f += QStringLiteral(",apad=whole_len=") + integer(samples);
        return f;
    }

    QString filters(const ClipNode &node) const
    {
        switch (node.op) {
        case ClipNode::Op::Source:
            // Samples counted from 0, whatever the container's start time.
            return QStringLiteral("asetpts=N/SR/TB");
        case ClipNode::Op::Silence:
            return QStringLiteral("anullsrc=r=%1:cl=%2,atrim=end_sample=%3")
                .arg(integer(node.sampleRate), layoutName(node.channels),
                     integer(m_mode == GraphMode::Render ? node.samples : std::min<qint64>(node.samples, 1)));
        case ClipNode::Op::Span: {
            QString trim = QStringLiteral("atrim=");
            if (node.start > 0)
                trim += QStringLiteral("start_sample=") + integer(node.start) + QLatin1Char(':');
            trim += QStringLiteral("end_sample=") + integer(node.end);
            // Timestamps run from 0 into every node; only a cut start moves them.
            QString f = trim;
            if (node.start > 0)
                f += QStringLiteral(",asetpts=N/SR/TB");
            if (m_mode == GraphMode::Render)
                f += QStringLiteral(",apad=whole_len=") + integer(node.samples);
            return f;
        }
        case ClipNode::Op::Resample:
            return QStringLiteral("aresample=") + integer(node.sampleRate) + QStringLiteral(",asetpts=N/SR/TB");
        case ClipNode::Op::Matrix:
            return panArguments(node);
        case ClipNode::Op::Mix:
            return QStringLiteral("amix=inputs=%1:duration=longest:normalize=0,").arg(node.inputs.size()) + length(node.samples);
        case ClipNode::Op::Filter: {
            const QString name = node.filter.kind == PassFilter::Kind::LowPass ? QStringLiteral("lowpass") : QStringLiteral("highpass");
            const QString f = QStringLiteral("%1=f=%2:p=%3").arg(name, number(node.filter.frequency)).arg(node.filter.poles);
            if (m_mode == GraphMode::Render)
                return f;
            // Half a second of silence lets the filter's ringing after a clip
            // that was cut short show in the peak.
            return QStringLiteral("apad=pad_len=%1,").arg(node.sampleRate / 2) + f + QStringLiteral(",atrim=end_sample=") + integer(node.samples);
        }
        case ClipNode::Op::Delay:
            return QStringLiteral("adelay=delays=%1S:all=1,").arg(node.delay) + length(node.samples);
        case ClipNode::Op::Normalize:
            return QStringLiteral("volume=volume=%1:precision=float").arg(number(m_gains.value(&node, 1.0)));
        case ClipNode::Op::ToFloat:
            return QStringLiteral("aformat=sample_fmts=flt|fltp");
        }
        return {};
    }

    GraphMode m_mode;
    const NormalizeGains &m_gains;
    FfmpegGraph m_graph;
    QHash<const ClipNode *, QStringList> m_labels; // pads not yet connected, per node
};

void visit(const ClipNode *node, QSet<const ClipNode *> &seen, std::vector<const ClipNode *> &order)
{
    if (seen.contains(node))
        return;
    seen.insert(node);
    for (const Clip &input : node->inputs)
        visit(input.get(), seen, order);
    order.push_back(node);
}

} // namespace

QString layoutName(int channels)
{
    static const std::array<const char *, 9> names = {"", "mono", "stereo", "3.0", "quad", "5.0", "5.1", "6.1", "7.1"};
    return channels >= 1 && channels < static_cast<int>(names.size()) ? QString::fromLatin1(names[channels]) : QString();
}

std::vector<const ClipNode *> postOrder(const Clip &root)
{
    QSet<const ClipNode *> seen;
    std::vector<const ClipNode *> order;
    visit(root.get(), seen, order);
    return order;
}

FfmpegGraph compileGraph(const Clip &root, GraphMode mode, const NormalizeGains &gains)
{
    return GraphWriter(mode, gains).write(root);
}

} // namespace tonmill::avs
