#pragma once

#include "convert/LoudnessChoice.h"
#include "options/ChoiceList.h"
#include "player/Equalizer.h"
#include "process/ProgressMonitor.h"

#include <QString>

#include <array>

namespace tonmill {

// cmbLoudness's choices, in order: none, the three targets, ReplayGain tags.
inline constexpr int kLoudnessChoices = 6;

struct CheckBoxState {
    bool checked = false;
    bool enabled = false;
};

// The parts of the main form, other than the option choices, that the option
// panel and the settings store read or change. The window binds its controls
// to these; without a window they are plain values.
struct MainFormState {
    ChoiceList cmbFormat;
    // The option frame on show ("frmMP3" …).
    QString visibleFrame;
    QString txtPath;
    QString lblOutputPath;
    // The output path chosen last, kept while chkSameOutput is checked.
    QString TempOutput;
    bool chkSameOutput = true;
    // Whether the controls that need a source file are enabled.
    bool sourceControlsEnabled = false;
    CheckBoxState chk51UpMix;

    // Tag editor.
    QString txtTitle;
    QString txtArtist;
    QString txtAlbum;
    QString txtYear;
    QString txtNotes;
    ChoiceList cmbGenre;
    QString txtTrack;
    // The tag fields as the media report filled them when the source was
    // opened (title, artist, album, year, notes, genre, track): a field still
    // equal to its value here holds the source's tag, not the user's.
    std::array<QString, 7> reportTags;
    // The tag editor's fields in the order of reportTags.
    std::array<QString *, 7> tagFields()
    {
        return {&txtTitle, &txtArtist, &txtAlbum, &txtYear, &txtNotes, &cmbGenre.text, &txtTrack};
    }
    bool mnuLog = false;
    bool mnuSaveLog = true;
    // The tag editor frame is shown.
    bool mnuTagEditor = true;

    // Conversion: the choices the job reads besides the option panel's.
    int slVolume = 100; // percent
    bool chkSegment = false;
    // The segment's controls, off while its end does not lie after its start.
    bool chkSegmentEnabled = true;
    bool btnSegPreviewEnabled = true;
    bool chkNormalize = false;
    // The Equalizer window's bands and its switch that puts them in the output.
    EqualizerState equalizer;
    bool chkFadeInOut = false;
    // What the encoder does about loudness; a loudness target stands in for
    // peak normalising.
    LoudnessChoice loudness;
    QString txtCutS = QStringLiteral("000.000");
    QString txtCutE = QStringLiteral("000.000");
    // A preview of the result is being encoded; what the last one estimated
    // of the whole output, empty while there is no estimate.
    bool previewing = false;
    QString lblEstimate;

    // What the window shows around a conversion: idle until Convert is
    // clicked, busy until the job has ended.
    bool btnConvertEnabled = true;
    bool btnAbortVisible = false;
    bool EncodingVisible = false;
    bool PB1Visible = false;
    bool lblWMAprogressVisible = false;
    bool btnExitEnabled = true;
    bool mnuArquivoEnabled = true;
    bool Timer3Enabled = false;
    int PB1Max = 0;
    ProgressDisplay progress;
    // The encoder's latest chunk of output, which the progress tick reads.
    QString rtbOutput;

    // cmbLoudness: a choice of kLoudnessChoices sets the loudness, keeping its
    // ceiling; the index shown is that of the loudness, -1 for a target that
    // is none of the three offered.
    void selectLoudness(int index);
    int loudnessIndex() const;
    // Peak normalising applies unless a loudness target does.
    bool peakNormalize() const { return chkNormalize && loudness.mode != LoudnessChoice::Mode::Normalize; }

    // Fills the format list and shows "MP3" with its frame.
    void fillFormatList();
    // A job runs: its progress shows, Abort can be pressed, and what would
    // leave or start another job waits.
    void showBusy();
    // The window ready for the next job.
    void showIdle();
};

} // namespace tonmill
