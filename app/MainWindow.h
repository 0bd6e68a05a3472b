#pragma once

#include "app/MainForm.h"
#include "app/ProgressAnnouncer.h"

#include <QElapsedTimer>
#include <QMainWindow>
#include <QTimer>

#include <memory>

class QComboBox;
class QRadioButton;
class QScrollBar;

namespace Ui {
class MainWindow;
}

namespace tonmill {

class ActivityLog;
class EqualizerWindow;

// The program's only top-level window. It binds its controls to the main
// form: a control's signal writes the state and calls the handler, and
// render() then shows the whole state again.
class MainWindow : public QMainWindow, public MainFormView {
    Q_OBJECT
public:
    MainWindow(MainForm &form, ActivityLog &log, QWidget *parent = nullptr);
    ~MainWindow() override;

    void setTitle(const QString &title) override;
    void setWidthTwips(int twips) override;
    int heightTwips() const override;
    void setHeightTwips(int twips) override;
    void relabel() override;
    void showSetup() override;
    void showAbout() override;
    void showFileInfo(const QString &text) override;
    void showEqualizer() override;
    void dockEqualizer() override;
    void render() override;
    void end() override;

    // The waveform row is beyond the form's design in twips: the window is
    // this many pixels taller than its twips say, whatever else it shows.
    int addedRowsHeight() const;

protected:
    void closeEvent(QCloseEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    // One row of option buttons that share a handler: "optSamFreqAAC_0" …
    struct ButtonArray {
        QString name;
        QString OptionState::*field;
        bool (OptionPanel::*handler)(int);
        QList<QRadioButton *> buttons;
    };

    // A list box and the list it shows.
    struct ShownList {
        QComboBox *box;
        ChoiceList *list;
        QStringList items;
    };

    void bindMenus();
    void bindSource();
    void bindOptions();
    void bindTagsAndClip();
    void bindJob();
    void bindPlayer();
    void bindBatch();
    // The desktop's usual keys for the menus, Convert and Abort, and Space
    // on the player.
    void bindKeys();
    // Which panels the window shows one at a time, for their Alt+letters.
    void declarePanelsShownInTurn();
    QList<QWidget *> formatFrames() const;
    void renderBatch();
    // The batch list's Output column for a row.
    QString outputText(const BatchFormState &batch, int row) const;
    void renderPlayer();
    // The window is as much shorter as the tag editor is tall, unless the
    // room is kept.
    void fitTagEditorRoom(bool kept);
    // The window as high as the form asks (with the tag editor's room), or
    // as its screen allows.
    void setWantedHeight(int pixels);
    int roomOnScreen() const;
    void layOutContent();
    void scrollToFocus(QWidget *focused);
    // Tells screen readers of the job's progress, and of its end.
    void announceProgress();
    // The window's height in pixels for a height in twips, with the added
    // rows.
    int pixelHeight(int twips) const;
    void showLog(const QString &text, qsizetype caret);
    double dpi() const;

    std::unique_ptr<Ui::MainWindow> m_ui;
    MainForm &m_main;
    QList<ButtonArray> m_arrays;
    QList<ShownList> m_lists;
    EqualizerWindow *m_equalizer = nullptr;
    // The language the window speaks, as the language file names it.
    QString m_language;
    bool m_ended = false;
    // The heights in twips that the form sets and reads are the window's
    // with the tag editor's room; without it the window lacks that many
    // pixels.
    bool m_tagEditorRoomKept = true;
    int m_tagEditorRoom = 0;
    // The pixels that the screen lacks for the height the form asks.
    int m_screenShortfall = 0;
    QScrollBar *m_contentScroll = nullptr;
    ProgressAnnouncer m_announcer;
    QElapsedTimer m_clock;
    // Tells what changed since the last announcement once the interval is
    // over, also when nothing renders.
    QTimer m_announceTimer;
};

} // namespace tonmill
