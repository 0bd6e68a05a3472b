#pragma once

#include <QString>
#include <QStringList>

namespace tonmill {

// The ID3v1 genre names, numbers 0 to 147, as one "#"-separated text.
const QString &genreListText();
// The same names in number order, for the genre box cmbGenre.
const QStringList &genreNames();

// The number of a genre name, trimmed and compared without regard to case;
// 255 when the name is not in the list.
int GenreNumber(const QString &name);
// The list's spelling of a genre number; empty outside 0 to 147.
QString GenreName(int number);

} // namespace tonmill
