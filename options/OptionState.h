#pragma once

#include "options/ChoiceList.h"

#include <QString>

namespace tonmill {

// The main form's option choices: the hidden fields that the conversion job
// reads, and the lists that the option panel shows. Index fields hold the
// chosen option button's index as text; channel fields hold the channel count
// as text. The initial values are the panel's choices before any settings are
// restored.
struct OptionState {
    QString txtFormat = QStringLiteral("5");
    QString OutExtension = QStringLiteral("mp3");
    QString SamFreq = QStringLiteral("44100");

    // AAC
    QString aacSamFreq = QStringLiteral("6");
    QString aacChannels = QStringLiteral("1");
    QString txtChannelsAAC = QStringLiteral("2");
    QString txtAACProfile = QStringLiteral("0");
    ChoiceList Combo8;

    // AC3
    QString ac3SamFreq = QStringLiteral("3");
    QString ac3Channels = QStringLiteral("1");
    QString txtChannelsAC3 = QStringLiteral("2");
    ChoiceList Combo1;

    // AMR
    QString amrType = QStringLiteral("0");
    ChoiceList Combo2;

    // MP2/MPA
    QString MP2SamFreq = QStringLiteral("2");
    QString mp2Channels = QStringLiteral("1");
    QString txtChannelsMP2 = QStringLiteral("2");
    QString txtMP2Header = QStringLiteral("0");
    ChoiceList Combo6;

    // MP3
    QString mp3SamFreq = QStringLiteral("2");
    QString mp3Channels = QStringLiteral("1");
    QString txtChannelsMP3 = QStringLiteral("2");
    ChoiceList Combo5;

    // WAV
    QString wavSamFreq = QStringLiteral("6");
    QString wavChannels = QStringLiteral("1");
    QString txtChannelsWAV = QStringLiteral("2");
    QString wavPCM = QStringLiteral("0");

    // WMA
    QString txtWMAProfile = QStringLiteral("a64");
    ChoiceList cmbWMAProfile;

    // FLAC: rate and bit-depth buttons, compression level list
    QString flacSamFreq = QStringLiteral("0");
    QString flacBits = QStringLiteral("0");
    ChoiceList cmbFLACLevel;

    // Opus: VBR or CBR, application buttons, bitrate list
    QString opusMode = QStringLiteral("0");
    QString opusApplication = QStringLiteral("0");
    ChoiceList cmbOpusBitRate;

    // Ogg Vorbis: quality list
    ChoiceList cmbOggQuality;

    // AAC in M4A: bitrate or VBR quality button, and a list for each
    QString m4aMode = QStringLiteral("0");
    ChoiceList cmbM4ABitRate;
    ChoiceList cmbM4AQuality;

    // ALAC: rate and bit-depth buttons
    QString alacSamFreq = QStringLiteral("0");
    QString alacBits = QStringLiteral("0");

    // Fills the bitrate lists and the WMA profile list from their "|" texts
    // (AMR with the narrow-band list, as amrType starts) and shows each list's
    // initial choice.
    void fillLists();

    bool operator==(const OptionState &) const = default;
};

} // namespace tonmill
