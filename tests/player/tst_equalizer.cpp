// The Equalizer window offscreen: its sliders and labels, the reset, its
// captions and where it stands beside the main window.
#include "player/EqualizerWindow.h"
#include "settings/Mnemonics.h"
#include "settings/Translations.h"

#include <QLabel>
#include <QCheckBox>
#include <QPushButton>
#include <QScreen>
#include <QSlider>
#include <QTemporaryDir>
#include <QTest>

#include <array>

using namespace tonmill;

namespace {

QString label(const EqualizerWindow &window, int band)
{
    return window.findChild<QLabel *>(QStringLiteral("EQ_%1").arg(band))->text();
}

QSlider *slider(const EqualizerWindow &window, int band)
{
    return window.findChild<QSlider *>(QStringLiteral("SEq_%1").arg(band));
}

QString languageFile(const QTemporaryDir &dir, const char *language)
{
    const QString file = dir.filePath(QStringLiteral("Tonmill.LNG"));
    WriteLanguageFile(QLatin1String(language), file);
    return file;
}

} // namespace

class TestEqualizer : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void slidersSetTheLabelsAndResetFlattensThem();
    void docksAgainstTheMainWindowsRightEdge();
};

void TestEqualizer::slidersSetTheLabelsAndResetFlattensThem()
{
    QTemporaryDir dir;
    QWidget main;
    EqualizerState shown;
    EqualizerWindow window(shown, languageFile(dir, "Francais"), &main);
    window.show();
    QCOMPARE(window.windowTitle(), QStringLiteral("Égaliseur"));
    auto *zero = window.findChild<QPushButton *>(QStringLiteral("btnZero"));
    QCOMPARE(withoutMnemonic(zero->text()), QStringLiteral("Réinitialiser"));
    // The switch that puts the bands into the output writes the form's state.
    auto *apply = window.findChild<QCheckBox *>(QStringLiteral("chkApply"));
    QCOMPARE(withoutMnemonic(apply->text()), QStringLiteral("Appliquer à la sortie"));
    QTest::mouseClick(apply, Qt::LeftButton);
    QVERIFY(shown.chkApply);

    const std::pair<int, int> moves[] = {{4, -15}, {17, kEqualizerMinimum}, {0, kEqualizerMaximum}};
    std::array<int, kEqualizerBands> values;
    values.fill(-20);
    for (const auto &[band, value] : moves) {
        values[band] = value;
        slider(window, band)->setValue(value);
    }
    for (int band = 0; band < kEqualizerBands; ++band) {
        QCOMPARE(slider(window, band)->value(), values[band]);
        QCOMPARE(label(window, band), QString::number(values[band] + 20));
        QCOMPARE(shown.gainsDb()[band], values[band] + 20);
    }

    QTest::mouseClick(zero, Qt::LeftButton);
    for (int band = 0; band < kEqualizerBands; ++band) {
        QCOMPARE(slider(window, band)->value(), -20);
        QCOMPARE(label(window, band), QStringLiteral("0"));
    }

    // A sum past 16 bits leaves every label as it was.
    EqualizerState state;
    state.SEq[9] = 32747;
    state.SEq_Change();
    state.SEq[2] = -8;
    state.SEq[9] = 32748;
    state.SEq_Change();
    QCOMPARE(state.EQ[2], QStringLiteral("0"));
    QCOMPARE(state.EQ[9], QStringLiteral("32767"));
}

void TestEqualizer::docksAgainstTheMainWindowsRightEdge()
{
    QTemporaryDir dir;
    QWidget main;
    EqualizerState state;
    auto *window = new EqualizerWindow(state, languageFile(dir, "English"), &main);
    QVERIFY(window->windowFlags().testFlag(Qt::Tool));
    main.show();
    window->show();
    const int width = window->frameGeometry().width();
    const QRect screen = main.screen()->availableGeometry();
    // Main's frame and where the equalizer's frame goes; the windows' borders
    // (offscreen has some) lie inside the frames.
    const std::pair<QRect, QRect> rows[] = {
        {{100, 50, screen.width() - width - 200, 480}, {screen.width() - width - 100, 50, width, 480}},
        {{-900, 20, 700, 300}, {-200, 20, width, 300}},
        // No room on the right: on the left, else at the screen's edge.
        {{width + 10, 30, screen.width() - width - 10, 400}, {10, 30, width, 400}},
        {{0, 0, screen.width(), 600}, {screen.width() - width, 0, width, 600}},
    };
    for (const auto &[frame, docked] : rows) {
        main.move(frame.topLeft());
        main.resize(frame.size() - (main.frameGeometry().size() - main.size()));
        QCOMPARE(main.frameGeometry(), frame);
        window->dockTo(main);
        QCOMPARE(window->frameGeometry(), docked);
    }
}

QTEST_MAIN(TestEqualizer)
#include "tst_equalizer.moc"
