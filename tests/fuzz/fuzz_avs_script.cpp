// The script interpreter on arbitrary script text, as a user's .avs source
// may hold anything. Every source the script names opens as ten seconds of
// stereo, so no file or program is involved. Besides not crashing or hanging:
// a script that fails says why on one line, and one that runs compiles to a
// filter graph with an output.
#include "platform/TextEncoding.h"
#include "tools/avs/AvsEvaluator.h"
#include "tools/avs/FilterGraphCompiler.h"

#include <QByteArray>

#include <cstdint>
#include <cstdlib>

using namespace tonmill;
using namespace tonmill::avs;

namespace {
class AnySource : public SourceOpener {
public:
    Clip open(const QString &path, double fps, QString *) override
    {
        return makeSource(path, 2, 44100, 441000, fps, false);
    }
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size > 4096)
        return 0;
    const QString text = decodeText(QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)));
    AnySource sources;
    const EvalResult result = evaluateScript(text, sources);
    if (!result.clip) {
        if (result.error.isEmpty() || result.error.contains(QLatin1Char('\n')) || result.errorLine < 0)
            std::abort();
        return 0;
    }
    Measurements measured;
    for (const ClipNode *node : postOrder(result.clip)) {
        if (node->op == ClipNode::Op::Normalize)
            measured.gains.insert(node, 1.0);
        else if (node->op == ClipNode::Op::Fade)
            measured.lengths.insert(node, node->samples);
    }
    for (const GraphMode mode : {GraphMode::Render, GraphMode::PeakScan, GraphMode::LengthScan}) {
        if (compileGraph(result.clip, mode, measured).filterComplex.isEmpty())
            std::abort();
    }
    return 0;
}
