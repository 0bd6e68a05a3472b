#include "settings/LanguageCaptions.h"

#include "settings/LanguageLines.h"


namespace tonmill {

namespace {

constexpr LanguageCaption kCaptions[] = {
    // The main window, relabelled whenever the language file is written.
    {"Main", "mnuArquivo", "Menus", "File", "", true},
    {"Main", "mnuAbrir", "Menus", "FileOpen", "", true},
    {"Main", "mnuSave", "Menus", "FileSaveAs", "", true},
    {"Main", "mnuExit", "Menus", "FileExit", "", true},
    {"Main", "mnuTools", "Menus", "Tools", "", true},
    {"Main", "mnuTagEditor", "Menus", "ToolTagEditor", "", true},
    {"Main", "mnuSetup", "Menus", "ToolSetup", "", true},
    {"Main", "mnuHelp", "Menus", "Help", "", true},
    {"Main", "mnuAbout", "Menus", "HelpAbout", "", true},
    {"Main", "lblOutFormat", "Main", "OutFormat", "", true},
    {"Main", "fraFileMode", "Main", "FileMode", "", true},
    {"Main", "fraBatchMode", "Main", "BatchMode", "", true},
    {"Main", "optFileMode", "Main", "FileMode", "", true},
    {"Main", "optBatchMode", "Main", "BatchMode", "", true},
    {"Main", "lblInFile", "Main", "InFile", "", true},
    {"Main", "lblOutFile", "Main", "OutFile", "", true},
    {"Main", "chkSameOutput", "Main", "chkOutFolder", "", true},
    {"Main", "fraClipEdition", "Main", "ClipEdition", "", true},
    {"Main", "fraTagViewer", "Main", "TagViewer", "", true},
    {"Main", "fraCutSegment", "Main", "CutSegment", "", true},
    {"Main", "lblCutSegment", "Main", "CutSegment", "", true},
    {"Main", "lblTitle", "Main", "Title", "", true},
    {"Main", "lblArtist", "Main", "Artist", "", true},
    {"Main", "lblAlbum", "Main", "Album", "", true},
    {"Main", "lblYear", "Main", "Year", "", true},
    {"Main", "lblNotes", "Main", "Notes", "", true},
    {"Main", "lblGenre", "Main", "Genre", "", true},
    {"Main", "lblTrack", "Main", "Track", "", true},
    {"Main", "btnOutFolder", "Menus", "FileSaveAs", "", true},
    {"Main", "btnConvert", "Main", "Convert", "", true},
    {"Main", "lblStart", "Main", "Start", "", true},
    {"Main", "lblEnd", "Main", "End", "", true},
    {"Main", "btnSetS", "Main", "Set", "", true},
    {"Main", "btnSetE", "Main", "Set", "", true},
    {"Main", "chkSegment", "Main", "EncSeg", "", true},
    {"Main", "btnSegPreview", "Main", "Preview", "", true},
    {"Main", "chkFadeInOut", "Main", "FadInOut", "", true},
    {"Main", "chkNormalize", "Main", "Normalize", "", true},
    {"Main", "lblTranslated", "Main", "Translated", "", true},
    {"Main", "frmMP3", "FormatOptions", "Mp3Opt", "", true},
    {"Main", "frmAC3", "FormatOptions", "AC3Opt", "", true},
    {"Main", "frmAMR", "FormatOptions", "AmrOpt", "", true},
    {"Main", "frmMP2", "FormatOptions", "MP2Opt", "", true},
    {"Main", "frmWAV", "FormatOptions", "WAVOpt", "", true},
    {"Main", "frmAAC", "FormatOptions", "AACOpt", "", true},
    {"Main", "fraAMRType", "FormatOptions", "Type", "", true},
    {"Main", "optAMRType_0", "FormatOptions", "NarrBand", "", true},
    {"Main", "optAMRType_1", "FormatOptions", "WideBand", "", true},
    {"Main", "lblBitrateAAC", "FormatOptions", "Bitrate", "", true},
    {"Main", "lblBitrateAC3", "FormatOptions", "Bitrate", "", true},
    {"Main", "lblBitrateAMR", "FormatOptions", "Bitrate", "", true},
    {"Main", "lblBitrateMP2", "FormatOptions", "Bitrate", "", true},
    {"Main", "lblBitrateMP3", "FormatOptions", "Bitrate", "", true},
    {"Main", "fraSamFreqAAC", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqAC3", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqMP2", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqMP3", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqWAV", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqFLAC", "FormatOptions", "SamFreq", "", true},
    {"Main", "fraSamFreqALAC", "FormatOptions", "SamFreq", "", true},
    {"Main", "lblBitrateOpus", "FormatOptions", "Bitrate", "", true},
    {"Main", "lblBitrateM4A", "FormatOptions", "Bitrate", "", true},
    {"Main", "fraMP2Header", "FormatOptions", "OptHeadType", "", true},
    {"Main", "fraProfileAAC", "FormatOptions", "Profile", "", true},
    {"Main", "optChannelsAAC_1", "FormatOptions", "Channels", "2 ", true},
    {"Main", "optChannelsAAC_0", "FormatOptions", "Channel", "1 ", true},
    {"Main", "optChannelsAC3_2", "FormatOptions", "Channels", "6 ", true},
    {"Main", "optChannelsAC3_1", "FormatOptions", "Channels", "2 ", true},
    {"Main", "optChannelsAC3_0", "FormatOptions", "Channel", "1 ", true},
    {"Main", "optChannelsMP2_1", "FormatOptions", "Channels", "2 ", true},
    {"Main", "optChannelsMP2_0", "FormatOptions", "Channel", "1 ", true},
    {"Main", "optChannels_1", "FormatOptions", "Channels", "2 ", true},
    {"Main", "optChannels_0", "FormatOptions", "Channel", "1 ", true},
    {"Main", "optChannelsWAV_1", "FormatOptions", "Channels", "2 ", true},
    {"Main", "optChannelsWAV_0", "FormatOptions", "Channel", "1 ", true},
    {"Main", "fraOutVol", "FormatOptions", "OutVol", "", true},
    {"Main", "btnAbout", "Menus", "HelpAbout", "", true},

    // The Setup dialog: its title only when it loads, the rest on every
    // relabelling as well.
    {"Setup", "Setup", "Setup", "Setup", "", false},
    {"Setup", "fraLanguages", "Setup", "Languages", "", true},
    {"Setup", "fraExtPath", "Setup", "ExtPath", "", true},
    {"Setup", "fraUpdates", "Setup", "Updates", "", true},
    {"Setup", "btnChkUpdates", "Setup", "chkUpdt", "", true},
    {"Setup", "chkUpdates", "Setup", "AutUpdt", "", true},
    {"Setup", "lblUpdtMessage", "Setup", "UpdtMessage", "", true},

    // Read when these windows load.
    {"About", "lblNotice", "About", "Notice", "", false},
    {"Dialog", "Dialog", "Main", "FileInfo", "", false},
};

} // namespace

std::span<const LanguageCaption> languageCaptions()
{
    return kCaptions;
}

QString captionText(const LanguageCaption &caption, const LanguageLines &lines)
{
    return QString::fromLatin1(caption.prefix)
        + lines.text(QString::fromLatin1(caption.section), QString::fromLatin1(caption.key), QString());
}

} // namespace tonmill
