// Writes a version 2.3 tag whose title is LENGTH letters long into FILE, so
// that tests can end a rewrite at a moment of their choosing.
//   tonmill-test-id3write FILE LENGTH
#include "media/modID3Tags.h"

#include <QString>

int main(int argc, char **argv)
{
    if (argc != 3)
        return 2;
    tonmill::ID3TagInfo info;
    info.Title = QString(QString::fromLocal8Bit(argv[2]).toInt(), QLatin1Char('x'));
    return tonmill::WriteID3v2Tag(QString::fromLocal8Bit(argv[1]), info, 0, true, false) ? 0 : 1;
}
