#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QList>
#include <QString>

class QIODevice;

namespace tonmill {

// A source's front cover as it is carried into the outputs.
struct CoverPicture {
    QByteArray data; // the image file's bytes (JPEG or PNG)
    QString mime;    // "image/jpeg" or "image/png"
};

// The picture's mime type from its first bytes (JPEG, PNG); empty when neither.
QString pictureMime(QByteArrayView data);

// What an image's header says of it; zero where it says nothing.
struct PictureShape {
    quint32 width = 0;
    quint32 height = 0;
    quint32 depth = 0;  // bits per pixel
    quint32 colors = 0; // palette entries of an indexed image
};
PictureShape pictureShape(QByteArrayView data);

// The cover as the body of a FLAC picture block with picture type 3, the form
// a METADATA_BLOCK_PICTURE comment carries in base64.
QByteArray flacPictureBlock(const CoverPicture &cover);

// The checksum of an Ogg page, computed with the page's own checksum field zero.
quint32 oggCrc(QByteArrayView bytes);
// One Ogg page with its checksum: lacing holds the segment sizes (at most 255).
QByteArray oggPage(quint8 flags, qint64 granule, quint32 serial, quint32 sequence, QByteArrayView lacing,
                   QByteArrayView body);
// Header packets laid out on pages numbered from sequence on, the last page
// ending with the last packet. firstFlags goes on the first page (the
// beginning-of-stream flag for the identification packet).
QList<QByteArray> oggHeaderPages(const QList<QByteArray> &packets, quint32 serial, quint32 sequence,
                                 quint8 firstFlags);

// The work of embedOggCover from one device to another: source is read from
// its current position to its end. Empty on success, else why not.
QString writeOggWithCover(QIODevice &source, QIODevice &target, const CoverPicture &cover);

// Adds `cover` as the front cover (picture type 3) of a finished Ogg Vorbis or
// Ogg Opus file, as a METADATA_BLOCK_PICTURE comment in the stream's comment
// header, in place of any front cover there. The header packets are paged
// anew and the pages after them renumbered. Empty on success, else a short
// reason in English; on failure the file is as it was.
QString embedOggCover(const QString &path, const CoverPicture &cover);

// The cover as the value of a WM/Picture attribute with picture type 3.
QByteArray wmPicture(const CoverPicture &cover);

// The work of embedAsfCover on the file's header: `head` is the start of the
// file, holding at least its whole header object, and fileSize the size of
// the whole file. On success `header` receives the new header object and the
// result is empty; else the result says why not.
QString asfHeaderWithCover(QByteArrayView head, qint64 fileSize, const CoverPicture &cover, QByteArray &header);

// Adds `cover` as a WM/Picture attribute (front cover, type 3) to a finished
// ASF/WMA file, in place of any front cover there: in the Extended Content
// Description Object when its value fits that object's 64 KiB limit, else in
// the Metadata Library Object. Missing objects are created. Same results as
// embedOggCover.
QString embedAsfCover(const QString &path, const CoverPicture &cover);

} // namespace tonmill
