#include "platform/WidgetDialogs.h"

#include <QApplication>
#include <QDesktopServices>
#include <QUrl>
#include <QFileDialog>
#include <QMessageBox>

namespace tonmill {

DialogAnswer WidgetDialogs::message(const MessageRequest &request)
{
    QMessageBox box(m_parent);
    box.setWindowTitle(request.title.isEmpty() ? QApplication::applicationDisplayName() : request.title);
    box.setText(request.text);
    switch (request.icon) {
    case DialogIcon::None: box.setIcon(QMessageBox::NoIcon); break;
    case DialogIcon::Information: box.setIcon(QMessageBox::Information); break;
    case DialogIcon::Question: box.setIcon(QMessageBox::Question); break;
    case DialogIcon::Exclamation: box.setIcon(QMessageBox::Warning); break;
    case DialogIcon::Critical: box.setIcon(QMessageBox::Critical); break;
    }
    if (request.buttons == DialogButtons::YesNo) {
        box.setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        return box.exec() == QMessageBox::Yes ? DialogAnswer::Yes : DialogAnswer::No;
    }
    box.setStandardButtons(QMessageBox::Ok);
    box.exec();
    return DialogAnswer::Ok;
}

void WidgetDialogs::openUrl(const QString &url)
{
    QDesktopServices::openUrl(QUrl(url));
}

QString WidgetDialogs::qtFilter(const QString &filter)
{
    const QStringList parts = filter.split(QLatin1Char('|'));
    QStringList entries;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2)
        entries.append(parts[i] + QStringLiteral(" (") + QString(parts[i + 1]).replace(QLatin1Char(';'), QLatin1Char(' '))
                       + QLatin1Char(')'));
    return entries.join(QStringLiteral(";;"));
}

QString WidgetDialogs::fileName(const FileRequest &request)
{
    QString chosen;
    switch (request.mode) {
    case FileRequest::Mode::Save:
        chosen = QFileDialog::getSaveFileName(m_parent, request.title, request.fileName, qtFilter(request.filter));
        break;
    case FileRequest::Mode::Folder:
        chosen = QFileDialog::getExistingDirectory(m_parent, request.title, request.fileName);
        break;
    case FileRequest::Mode::Open:
    case FileRequest::Mode::OpenMany:
        chosen = QFileDialog::getOpenFileName(m_parent, request.title, request.fileName, qtFilter(request.filter));
        break;
    }
    return chosen.isEmpty() ? request.fileName : chosen;
}

QStringList WidgetDialogs::fileNames(const FileRequest &request)
{
    return QFileDialog::getOpenFileNames(m_parent, request.title, request.fileName, qtFilter(request.filter));
}

} // namespace tonmill
