#pragma once

#include <QGroupBox>

namespace tonmill {

// A captioned panel that groups the controls of one task (the option frames,
// the tag editor, the clip edition).
class ucPanel : public QGroupBox {
    Q_OBJECT
public:
    explicit ucPanel(QWidget *parent = nullptr) : QGroupBox(parent) {}

    QString caption() const { return title(); }
    void setCaption(const QString &caption) { setTitle(caption); }
};

} // namespace tonmill
