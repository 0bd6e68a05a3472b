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

// The channels of layoutName(channels), in order, as join names them.
QStringList channelNames(int channels)
{
    static const std::array<const char *, 9> names = {"", "FC", "FL FR", "FL FR FC", "FL FR BL BR", "FL FR FC BL BR",
                                                      "FL FR FC LFE BL BR", "FL FR FC LFE BC SL SR", "FL FR FC LFE BL BR SL SR"};
    return channels >= 1 && channels < static_cast<int>(names.size()) ? QString::fromLatin1(names[channels]).split(QLatin1Char(' ')) : QStringList();
}

class GraphWriter {
public:
    GraphWriter(GraphMode mode, const Measurements &measured)
        : m_mode(mode)
        , m_measured(measured)
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
        // A mix is as long as its first input and every other node as its
        // input, so silence on a mix's first input sets how long the mix is.
        if (m_mode == GraphMode::LengthScan)
            m_bounding.insert(root.get());
        for (auto it = order.rbegin(); it != order.rend(); ++it) {
            const ClipNode *node = *it;
            if (!node->inputs.empty() && ((node->op == ClipNode::Op::Mix && node->inputs.size() > 1) || m_bounding.contains(node)))
                m_bounding.insert(node->inputs.front().get());
        }
        QStringList chains;
        for (size_t id = 0; id < order.size(); ++id) {
            const ClipNode *node = order[id];
            QStringList in;
            for (const Clip &input : node->inputs)
                in << m_labels[input.get()].takeFirst();
            if (node->op == ClipNode::Op::Source) {
                in << QStringLiteral("[%1:a:0]").arg(m_graph.inputArguments.size() / 2);
                m_graph.inputArguments << QStringLiteral("-i") << SourceProbe::inputUrl(node->path);
            }
            const QString out = node == root.get() ? QStringLiteral("[out]") : QStringLiteral("[c%1]").arg(id);
            chains << chain(*node, in, QStringLiteral("c%1").arg(id)) + out;
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
    // The node's filters from its input pads, without the output pad. Nothing
    // is cut or padded to a length known here: a source's length in its header
    // may be wrong, so a clip ends where its audio ends. Pads a node needs
    // inside itself are named from `name`, which is the node's own.
    QString chain(const ClipNode &node, const QStringList &in, const QString &name) const
    {
        switch (node.op) {
        case ClipNode::Op::Source:
            // Samples counted from 0, whatever the container's start time.
            return in[0] + QStringLiteral("asetpts=N/SR/TB");
        case ClipNode::Op::Silence: {
            // Silence never raises a peak: the scan needs only the silence
            // whose length bounds other audio.
            const bool whole = m_mode == GraphMode::Render || m_bounding.contains(&node);
            return QStringLiteral("anullsrc=r=%1:cl=%2,atrim=end_sample=%3")
                .arg(integer(node.sampleRate), layoutName(node.channels), integer(whole ? node.samples : std::min<qint64>(node.samples, 1)));
        }
        case ClipNode::Op::Span: {
            QStringList trim;
            if (node.start > 0)
                trim << QStringLiteral("start_sample=") + integer(node.start);
            if (node.end != kToTheEnd)
                trim << QStringLiteral("end_sample=") + integer(node.end);
            if (trim.isEmpty())
                return in[0] + QStringLiteral("anull");
            // Timestamps run from 0 into every node; only a cut start moves them.
            return in[0] + QStringLiteral("atrim=") + trim.join(QLatin1Char(':')) + (node.start > 0 ? QStringLiteral(",asetpts=N/SR/TB") : QString());
        }
        case ClipNode::Op::Resample:
            return in[0] + QStringLiteral("aresample=") + integer(node.sampleRate) + QStringLiteral(",asetpts=N/SR/TB");
        case ClipNode::Op::Matrix:
            return in[0] + panArguments(node);
        case ClipNode::Op::Mix: {
            // amerge ends with its shortest input and takes queued samples
            // first (amix can drop the first input's last samples), so the
            // others are padded without end. It needs each input's layout
            // fixed, as the matrices that feed a mix fix them.
            QString text;
            QString merged = in[0];
            for (qsizetype k = 1; k < in.size(); ++k) {
                const QString padded = QStringLiteral("[%1p%2]").arg(name).arg(k);
                text += in[k] + QStringLiteral("apad") + padded + QLatin1Char(';');
                merged += padded;
            }
            QStringList sums{layoutName(node.channels)};
            for (int c = 0; c < node.channels; ++c) {
                QStringList terms;
                for (qsizetype k = 0; k < in.size(); ++k)
                    terms << QStringLiteral("c") + integer(k * node.channels + c);
                sums << QStringLiteral("c%1=%2").arg(c).arg(terms.join(QLatin1Char('+')));
            }
            return text + merged + QStringLiteral("amerge=inputs=%1,pan=").arg(in.size()) + sums.join(QLatin1Char('|'));
        }
        case ClipNode::Op::Filter: {
            const QString filter = node.filter.kind == PassFilter::Kind::LowPass ? QStringLiteral("lowpass") : QStringLiteral("highpass");
            return in[0] + QStringLiteral("%1=f=%2:p=%3").arg(filter, number(node.filter.frequency)).arg(node.filter.poles);
        }
        case ClipNode::Op::Delay: {
            // The shifted copy's channels, for as long as the unshifted copy
            // lasts: join ends with its first input.
            const QString a = QStringLiteral("[%1a]").arg(name);
            const QString b = QStringLiteral("[%1b]").arg(name);
            const QString shifted = QStringLiteral("[%1s]").arg(name);
            const QString shift = node.delay > 0
                                      ? QStringLiteral("adelay=delays=%1S:all=1").arg(node.delay)
                                      : QStringLiteral("atrim=start_sample=%1,asetpts=N/SR/TB,apad").arg(-node.delay);
            QStringList map;
            const QStringList names = channelNames(node.channels);
            for (qsizetype c = 0; c < names.size(); ++c)
                map << QStringLiteral("1.%1-%2").arg(c).arg(names[c]);
            return in[0] + QStringLiteral("asplit=2") + a + b + QLatin1Char(';') + b + shift + shifted + QLatin1Char(';') + a + shifted
                   + QStringLiteral("join=inputs=2:channel_layout=%1:map=%2").arg(layoutName(node.channels), map.join(QLatin1Char('|')));
        }
        case ClipNode::Op::Normalize:
            return in[0] + QStringLiteral("volume=volume=%1:precision=float").arg(number(m_measured.gains.value(&node, 1.0)));
        case ClipNode::Op::Fade: {
            // afade places its fades by the samples' timestamps, so they are
            // counted from 0 here; the fade out ends with the measured end.
            const qint64 length = m_measured.lengths.value(&node, 0);
            return in[0] + QStringLiteral("asetpts=N/SR/TB,afade=t=in:ss=0:ns=%1:curve=tri,afade=t=out:ss=%2:ns=%1:curve=tri")
                               .arg(integer(node.fade), integer(std::max<qint64>(length - node.fade, 0)));
        }
        case ClipNode::Op::ToFloat:
            return in[0] + QStringLiteral("aformat=sample_fmts=flt|fltp");
        }
        return {};
    }

    GraphMode m_mode;
    const Measurements &m_measured;
    FfmpegGraph m_graph;
    QHash<const ClipNode *, QStringList> m_labels; // pads not yet connected, per node
    QSet<const ClipNode *> m_bounding;             // nodes whose length sets a mix's
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

FfmpegGraph compileGraph(const Clip &root, GraphMode mode, const Measurements &measured)
{
    return GraphWriter(mode, measured).write(root);
}

} // namespace tonmill::avs
