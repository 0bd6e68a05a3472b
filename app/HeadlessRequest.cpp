#include "app/HeadlessRequest.h"

#include <QFileInfo>

namespace tonmill {

bool HeadlessRequest::isBatch() const
{
    return sources.size() > 1 || recursive || !outputDir.isEmpty() || jobs > 0 || !namePattern.isEmpty()
           || existing != ExistingPolicy::Ask || trashSources || dryRun
           || (!sources.isEmpty() && QFileInfo(sources.constFirst()).isDir());
}

} // namespace tonmill
