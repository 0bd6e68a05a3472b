#pragma once

#include <QString>

#include <optional>

namespace tonmill {

// The fixed choices of the output formats and what each choice means on
// the command line. Indexes are the option buttons' positions, 0 first.

// "AAC|AC3|AMR|MP2/MPA|MP3|WAV|WMA": the format list; its position + 1 is the
// format index that txtFormat carries.
extern const QString kFormatList;
extern const QString kAACBitRates;  // Combo8
extern const QString kMP3BitRates;  // Combo5
extern const QString kMP2BitRates;  // Combo6
extern const QString kAC3BitRates;  // Combo1
extern const QString kAMRNarrowBitRates; // Combo2, narrow band
extern const QString kAMRWideBitRates;   // Combo2, wide band
extern const QString kWMAProfiles;  // cmbWMAProfile
extern const QString kFLACLevels;   // cmbFLACLevel
extern const QString kOpusBitRates; // cmbOpusBitRate, kbit/s
extern const QString kOggQualities; // cmbOggQuality
extern const QString kM4ABitRates;  // cmbM4ABitRate
extern const QString kM4AQualities; // cmbM4AQuality

// "1" … "12" for a name of the format list (exact spelling), "" otherwise.
QString formatIndex(const QString &formatName);
// "aac", "ac3", "amr", "mp2", "mp3", "wav", "wma", "flac", "opus", "ogg" and
// "m4a" (M4A and ALAC) for a format name, "" otherwise.
QString formatExtension(const QString &formatName);
// The option frame shown for a format name ("frmAAC" …), "" otherwise.
QString formatFrame(const QString &formatName);

// The rate that a sampling-frequency button puts into SamFreq, "" for an index
// the format lacks. AAC's third button gives "16100".
QString aacButtonRate(int index);
QString ac3ButtonRate(int index); // also MP2/MPA and MP3
QString wavButtonRate(int index);
// The rate that a format change derives from an AAC index field: as the
// buttons, except that index 2 gives "16000".
QString aacDerivedRate(int index);

// "0" → "mp4", "1" → "mp2", otherwise "".
QString aacContainer(const QString &txtAACProfile);
// "0" → "mp2", "1" → "avi", "2" → "mpeg", otherwise "".
QString mp2HeaderName(const QString &txtMP2Header);
// "0" → "pcm_s16le", "1" → "pcm_u8", otherwise "".
QString wavCodec(const QString &wavPCM);
// "0" → "1411", "1" → "705", otherwise "".
QString wavBitRate(const QString &wavPCM);
// Button 0 is narrow band; any other value is wide band.
bool amrIsNarrowBand(const QString &amrType);
// The encoding script's profile key of a profile name, "" for an unknown name.
QString wmaProfileKey(const QString &profileName);


// The rate of a FLAC or ALAC rate button: "" (the source's own) for button 0,
// then 44100, 48000, 88200 and 96000; nothing for an index the buttons lack.
std::optional<QString> losslessRate(int index);
// The sample format of a FLAC or ALAC bit-depth button ("0" 16 bit, "1"
// 24 bit, which ffmpeg's encoders take as 32-bit samples), planar for ALAC.
QString losslessSampleFormat(const QString &bitsIndex, bool planar);
// The Opus application of its button: "0" audio, "1" voip, "2" lowdelay.
QString opusApplication(const QString &index);
// The formats after WMA ("8" … "12"), which keep the source's channels and
// take the 5.1 up-mix as they are.
bool isLaterFormat(const QString &txtFormat);
// Whether the format's files hold tags: MP3, WMA and the later formats; raw
// AAC, AC3, AMR, MP2 and WAV hold none.
bool formatKeepsTags(const QString &txtFormat);

} // namespace tonmill
