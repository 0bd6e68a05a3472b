#pragma once

#include <QByteArray>
#include <QList>
#include <QString>

class QIODevice;

namespace tonmill {

// The tag of one file; an empty field means the item is absent. The tag
// editor fills the first seven.
struct ID3TagInfo {
    QString Artist;
    QString Album;
    QString Title;
    QString Year;
    QString Genre;
    QString Comment;
    QString Track;
    QString EncodedBy;
    QString URL;
    QString Copyright;
    QString Composer;
    QString OriginalArtist;
};

// A frame of an existing tag that the record has no field for, with its body
// as it reads once unsynchronisation and per-frame extras are undone.
struct ID3Frame {
    QByteArray id;
    QByteArray body;
};
using ID3FrameList = QList<ID3Frame>;

// The most bytes of one tag that the writer reads when it keeps frames:
// enough for a front cover of several megabytes.
constexpr qint64 kID3ReadLimit = 16 * 1024 * 1024;

// Writes the 128-byte ID3v1.1 tag at the end of the file, over an ID3v1 tag
// already there. False when the file cannot be opened; a file without any
// write permission counts as read-only unless clearReadOnly gives it back.
bool WriteID3v1Tag(const QString &fileName, const ID3TagInfo &info, bool clearReadOnly);

// Writes an ID3v2 tag at the start of the file in place of the first tag
// there: version 2.4 when version4 is nonzero, else 2.3. With discardExisting
// false, frames of the old tags that the record has no field for are kept.
// A tag that outgrows the old one is written with the audio, streamed, into a
// new file beside the old one, which then replaces it. False when the file
// cannot be opened or rewritten, or when there is nothing to write into a
// file without a tag; the file is then as it was.
bool WriteID3v2Tag(const QString &fileName, const ID3TagInfo &info, int version4, bool discardExisting,
                   bool clearReadOnly);

// The total size of the ID3v2 tag at position, header and footer included;
// 0 when no tag starts there.
qint64 GetID3v2TagSize(QIODevice &file, qint64 position);

// Reads the tag at position: the record's frames into info, all others into
// preserved. At most maxSize bytes of the tag are read. Returns the position
// after the tag when another tag follows it, else -1.
qint64 ReadID3v2Tag(QIODevice &file, qint64 position, ID3TagInfo &info, ID3FrameList &preserved, qint64 maxSize);

// Gives a file without any write permission its owner's write permission.
void ClearReadOnly(const QString &fileName);

// The 128 bytes of the ID3v1.1 tag of a record.
QByteArray id3v1Tag(const ID3TagInfo &info);
// The genre as the "TCON" frame carries it: "(17)Rock" for a listed name,
// the text as it stands otherwise.
QString genreFrameText(const QString &genre);
// The total tag size for frames of needed bytes when the tag has to grow:
// at least 1 KiB to spare, in 2 KiB steps, plus the header.
qint64 paddedTagSize(qint64 needed);

} // namespace tonmill
