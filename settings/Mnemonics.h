#pragma once

#include <QList>
#include <QString>

namespace tonmill {

// One caption of a window that wants an Alt+letter. Layer 0 is always
// shown; in any other layer the window shows one alternative at a time (one
// format's options or another's), so captions of different alternatives of
// one layer may share a letter. Captions of rank 0 (menus and push buttons)
// choose first; then the others layer by layer, a lower rank first within a
// layer (check boxes before the labels of fields).
struct MnemonicCaption {
    QString text; // as written, perhaps with a "&" that the language file placed
    int rank = 0;
    int layer = 0;
    int alternative = 0;
};

// The captions with one "&" each before a letter or digit that no other
// caption shown with it uses. Captions choose in the order of precedence
// above, then in the order given; one that would take no letter otherwise
// takes one from a caption before it only by moving that caption to another
// of its letters.
// A letter the caption already marks is kept where it can be, and no later
// caption takes it away; after it the first letter, then the first letters
// of words, then any letter. A caption
// left without a free letter gets none. A "&" not followed by a letter or
// digit ("Tag & Editor") is an ampersand and is shown as one.
QStringList withMnemonics(const QList<MnemonicCaption> &captions);

// The caption as shown, without its mnemonic marker.
QString withoutMnemonic(const QString &text);

} // namespace tonmill
