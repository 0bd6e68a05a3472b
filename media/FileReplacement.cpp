#include "media/FileReplacement.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tonmill {

namespace {

constexpr qint64 kKernelChunk = qint64(64) << 20;
constexpr qint64 kCopyBlock = qint64(1) << 20;
constexpr int kNameAttempts = 16;

QString nameBeside(const QString &target)
{
    return target + QStringLiteral(".%1").arg(QRandomGenerator::global()->generate(), 8, 16, QLatin1Char('0'));
}

} // namespace

FileReplacement::FileReplacement(const QString &fileName)
{
    const QFileInfo info(fileName);
    m_target = info.isSymLink() ? info.canonicalFilePath() : info.absoluteFilePath();
}

FileReplacement::~FileReplacement()
{
    m_output.close();
    if (!m_linked.isEmpty())
        ::unlink(QFile::encodeName(m_linked).constData());
    if (m_fd >= 0)
        ::close(m_fd);
}

bool FileReplacement::open()
{
    struct stat old {};
    if (m_target.isEmpty() || ::stat(QFile::encodeName(m_target).constData(), &old) != 0 || !S_ISREG(old.st_mode))
        return false;
    // A file without a name until commit: a run that dies leaves nothing.
    const QByteArray folder = QFile::encodeName(QFileInfo(m_target).absolutePath());
    m_fd = ::open(folder.constData(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    // File systems without such files (FAT, for one) get a named one, which
    // the destructor removes unless it was committed.
    for (int attempt = 0; m_fd < 0 && attempt < kNameAttempts; ++attempt) {
        const QString name = nameBeside(m_target);
        m_fd = ::open(QFile::encodeName(name).constData(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600);
        if (m_fd >= 0)
            m_linked = name;
        else if (errno != EEXIST)
            return false;
    }
    if (m_fd < 0)
        return false;
    // Owner and group can be handed on by root only; the mode by anyone. A
    // file system without them keeps its own.
    [[maybe_unused]] const int owned = ::fchown(m_fd, old.st_uid, old.st_gid);
    [[maybe_unused]] const int moded = ::fchmod(m_fd, old.st_mode & 07777);
    return m_output.open(m_fd, QIODevice::WriteOnly, QFileDevice::DontCloseHandle);
}

bool FileReplacement::reserve(qint64 size)
{
    // Blocks that are in place before the data comes spare the file system
    // finding them all at once when the rename replaces the old file. The
    // file ends where the writing ends (commit cuts it there).
    return ::fallocate(m_fd, 0, 0, size) == 0 || errno == EOPNOTSUPP;
}

bool FileReplacement::appendFrom(QFile &source, qint64 offset)
{
    if (!m_output.flush())
        return false;
    loff_t from = offset;
    for (;;) {
        const ssize_t n = ::copy_file_range(source.handle(), &from, m_fd, nullptr, kKernelChunk, 0);
        if (n == 0)
            return true;
        if (n > 0)
            continue;
        const bool unsupported = errno == EXDEV || errno == EINVAL || errno == EOPNOTSUPP || errno == ENOSYS;
        if (from != offset || !unsupported)
            return false;
        break;
    }
    // The kernel cannot copy between these files: block by block.
    if (!source.seek(offset))
        return false;
    QByteArray block(qBound<qint64>(1, source.size() - offset, kCopyBlock), Qt::Uninitialized);
    for (;;) {
        const qint64 n = source.read(block.data(), block.size());
        if (n <= 0)
            return n == 0;
        if (m_output.write(block.constData(), n) != n)
            return false;
    }
}

bool FileReplacement::commit()
{
    if (m_fd < 0 || !m_output.flush())
        return false;
    m_output.close();
    const off_t end = ::lseek(m_fd, 0, SEEK_CUR);
    if (end < 0 || ::ftruncate(m_fd, end) != 0)
        return false;
    // Not forced to disk: the program rewrites files that its encoder has
    // just written and that are not on disk either; the rename alone keeps an
    // interrupted run from leaving a mix.
    if (m_linked.isEmpty() && !link())
        return false;
    if (::rename(QFile::encodeName(m_linked).constData(), QFile::encodeName(m_target).constData()) != 0)
        return false;
    m_linked.clear();
    return true;
}

bool FileReplacement::link()
{
    const QByteArray self = "/proc/self/fd/" + QByteArray::number(m_fd);
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const QString name = nameBeside(m_target);
        if (::linkat(AT_FDCWD, self.constData(), AT_FDCWD, QFile::encodeName(name).constData(), AT_SYMLINK_FOLLOW) == 0) {
            m_linked = name;
            return true;
        }
        if (errno != EEXIST)
            return false;
    }
    return false;
}

} // namespace tonmill
