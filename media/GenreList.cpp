#include "media/GenreList.h"

namespace tonmill {

namespace {
constexpr int kNotInList = 255;

// Kept exactly as spelled, odd ones included ("Psychadelic", "Bebob", the
// shortened "Contemporary C"): tags written earlier carry these names.
const char kGenres[] =
    "Blues#Classic Rock#Country#Dance#Disco#Funk#Grunge#Hip-Hop#Jazz#Metal#" // 0-9
    "New Age#Oldies#Other#Pop#R&B#Rap#Reggae#Rock#Techno#Industrial#" // 10-19
    "Alternative#Ska#Death Metal#Pranks#Soundtrack#Euro-Techno#Ambient#Trip-Hop#Vocal#Jazz+Funk#" // 20-29
    "Fusion#Trance#Classical#Instrumental#Acid#House#Game#Sound Clip#Gospel#Noise#" // 30-39
    "Alt. Rock#Bass#Soul#Punk#Space#Meditative#Instrumental Pop#Instrumental Rock#Ethnic#Gothic#" // 40-49
    "Darkwave#Techno-Industrial#Electronic#Pop-Folk#Eurodance#Dream#Southern Rock#Comedy#Cult#Gangsta#" // 50-59
    "Top 40#Christian Rap#Pop/Funk#Jungle#Native American#Cabaret#New Wave#Psychadelic#Rave#Showtunes#" // 60-69
    "Trailer#Lo-Fi#Tribal#Acid Punk#Acid Jazz#Polka#Retro#Musical#Rock & Roll#Hard Rock#" // 70-79
    "Folk#Folk-Rock#National Folk#Swing#Fast Fusion#Bebob#Latin#Revival#Celtic#Bluegrass#" // 80-89
    "Avantgarde#Gothic Rock#Progressive Rock#Psychedelic Rock#Symphonic Rock#Slow Rock#Big Band#Chorus#Easy Listening#Acoustic#" // 90-99
    "Humour#Speech#Chanson#Opera#Chamber Music#Sonata#Symphony#Booty Bass#Primus#Porn Groove#" // 100-109
    "Satire#Slow Jam#Club#Tango#Samba#Folklore#Ballad#Power Ballad#Rhythmic Soul#Freestyle#" // 110-119
    "Duet#Punk Rock#Drum Solo#A capella#Euro-House#Dance Hall#Goa#Drum & Bass#Club-House#Hardcore#" // 120-129
    "Terror#Indie#BritPop#Negerpunk#Polsk Punk#Beat#Christian Gangsta Rap#Heavy Metal#Black Metal#Crossover#" // 130-139
    "Contemporary C#Christian Rock#Merengue#Salsa#Thrash Metal#Anime#JPop#SynthPop"; // 140-147
} // namespace

const QString &genreListText()
{
    static const QString text = QString::fromLatin1(kGenres);
    return text;
}

const QStringList &genreNames()
{
    static const QStringList names = genreListText().split(QLatin1Char('#'));
    return names;
}

int GenreNumber(const QString &name)
{
    const QString wanted = name.trimmed();
    const QStringList &names = genreNames();
    for (int i = 0; i < names.size(); ++i) {
        if (names[i].compare(wanted, Qt::CaseInsensitive) == 0)
            return i;
    }
    return kNotInList;
}

QString GenreName(int number)
{
    const QStringList &names = genreNames();
    return number >= 0 && number < names.size() ? names[number] : QString();
}

} // namespace tonmill
