#pragma once

#include "app/HeadlessRequest.h"

namespace tonmill {

class AppFolder;

// Runs the conversion the command line asks for through the same job as the
// window's Convert button, inside the running application object. Log lines
// go to standard output, progress to standard error when that is a terminal,
// and a one-line reason to standard error when the result is not a finished,
// non-empty output file, in the log's words. A source the media tool cannot
// describe is converted all the same, with one line saying so. The exit
// status: 0 done, 1 failed, 3 the existing output was kept,
// 128 + the signal's number when aborted. A batch prints one line per
// finished file and a summary, and exits 0 only when every file converted,
// otherwise with the number of files that did not (at most 125).
int runHeadlessConvert(const HeadlessRequest &request, const AppFolder &folder);

} // namespace tonmill
