#pragma once

#include "platform/Dialogs.h"

class QWidget;

namespace tonmill {

// Real message boxes and file dialogs, parented to the given window.
class WidgetDialogs : public Dialogs {
public:
    explicit WidgetDialogs(QWidget *parent = nullptr) : m_parent(parent) {}
    void setParent(QWidget *parent) { m_parent = parent; }

    DialogAnswer message(const MessageRequest &request) override;
    QString fileName(const FileRequest &request) override;
    QStringList fileNames(const FileRequest &request) override;
    void openUrl(const QString &url) override;

    // "Audio Files|*.aac;*.ac3|All Files|*.*" as Qt writes it:
    // "Audio Files (*.aac *.ac3);;All Files (*.*)".
    static QString qtFilter(const QString &filter);

private:
    QWidget *m_parent;
};

} // namespace tonmill
