#include "settings/BuiltInLanguages.h"

#include <array>

namespace tonmill {

namespace {

struct BuiltInLanguage {
    const char *name;
    const char *lines; // UTF-8, one line per text
};

// The texts are kept as they have always been shipped, slips included (the
// Spanish block's "Start»Início").
constexpr std::array<BuiltInLanguage, 5> kLanguages = {{
    {"English", R"(English
{Menus}
File»&File
FileOpen»&Open
FileSaveAs»S&ave As
FileExit»E&xit
Tools»&Tools
ToolTagEditor»Tag & Editor
ToolSetup»&Setup
Help»&Help
HelpAbout»A&bout
{Main}
OutFormat»Output Format:
FileMode»File Mode
BatchMode»Batch Mode
InFile»File to Convert:
OutFile»Output File
chkOutFolder»To Same Folder
FileInfo»File Information
ClipEdition»Clip Edition
TagViewer»Tag Viewer/Editor
CutSegment»Cut Segment
Title»Title:
Artist»Artist:
Album»Album:
Year»Year:
Notes»Notes:
Genre»Genre:
Track»Track:
Convert»&Convert
Start»Start
End»End
Set»Set
EncSeg»Encode Segment
Preview»Preview
FadInOut»Fade In / Fade Out
Normalize»Normalize
Translated»Translated by Quorell
{FormatOptions}
Mp3Opt»MP3 Options
AmrOpt»AMR Options
AC3Opt»AC3 Options
MP2Opt»MP2 Options
AACOpt»AAC Options
WAVOpt»WAV Options
Type»Type
NarrBand»Narrow Band
WideBand»Wide Band
Bitrate»Bitrate:
SamFreq»Sampling Frequency
Channels»Channels
Channel»Channel
OutVol»Output Volume
OptHeadType»Optimizer (Header Type)
Profile»Profile
{Setup}
Setup»Setup
Languages»Available Languages (click on the flags to apply)
ExtPath»External Tools Paths' Definition
Updates»Updates
chkUpdt»Ch&eck for Updates now
AutUpdt»Check for &updates automatically
UpdtMessage»Note: You need an active Internet connection to use these features.
{About}
Notice»Tonmill is freeware: you may use it and give it away at no cost, but nobody may sell it. If you paid anyone for this program, please tell its author at tonmill@example.org.
)"},
    {"Portugues", R"(Português
{Menus}
File»&Arquivo
FileOpen»&Abrir
FileSaveAs»Salvar &Como
FileExit»&Sair
Tools»&Ferramentas
ToolTagEditor»&Editor de Tags
ToolSetup»&Configurações
Help»A&juda
HelpAbout»&Sobre
{Main}
OutFormat»Formato de Saída:
FileMode»Modo Arquivo
BatchMode»Modo Lote
InFile»Arquivo a Converter:
OutFile»Arquivo de Saída
chkOutFolder»Na Mesma Pasta
FileInfo»Informações do Arquivo
ClipEdition»Edição de Trecho
TagViewer»Visualizador/Editor de Tags
CutSegment»Cortar Trecho
Title»Título:
Artist»Artista:
Album»Álbum:
Year»Ano:
Notes»Notas:
Genre»Gênero:
Track»Faixa:
Convert»&Converter
Start»Início
End»Fim
Set»Marcar
EncSeg»Codificar Trecho
Preview»Pré-escutar
FadInOut»Aumentar / Diminuir Volume
Normalize»Normalizar
Translated»Traduzido pela equipe do Tonmill
{FormatOptions}
Mp3Opt»Opções MP3
AmrOpt»Opções AMR
AC3Opt»Opções AC3
MP2Opt»Opções MP2
AACOpt»Opções AAC
WAVOpt»Opções WAV
Type»Tipo
NarrBand»Banda Estreita
WideBand»Banda Larga
Bitrate»Taxa de Bits:
SamFreq»Frequência de Amostragem
Channels»Canais
Channel»Canal
OutVol»Volume de Saída
OptHeadType»Otimizador (Tipo de Cabeçalho)
Profile»Perfil
{Setup}
Setup»Configurações
Languages»Idiomas Disponíveis (clique nas bandeiras para aplicar)
ExtPath»Caminhos das Ferramentas Externas
Updates»Atualizações
chkUpdt»&Verificar Atualizações agora
AutUpdt»Verificar atualizações a&utomaticamente
UpdtMessage»Nota: Estes recursos precisam de uma conexão ativa com a Internet.
{About}
Notice»Tonmill é gratuito: você pode usá-lo e distribuí-lo sem custo, mas ninguém pode vendê-lo. Se você pagou a alguém por este programa, por favor avise o autor em tonmill@example.org.
)"},
    {"Espanol", R"(Español
{Menus}
File»&Archivo
FileOpen»&Abrir
FileSaveAs»&Guardar como
FileExit»&Salir
Tools»&Herramientas
ToolTagEditor»&Editor de etiquetas
ToolSetup»&Configuración
Help»A&yuda
HelpAbout»Acerca &de
{Main}
OutFormat»Formato de salida:
FileMode»Modo archivo
BatchMode»Modo por lotes
InFile»Archivo a convertir:
OutFile»Archivo de salida
chkOutFolder»En la misma carpeta
FileInfo»Información del archivo
ClipEdition»Edición de fragmento
TagViewer»Visor/Editor de etiquetas
CutSegment»Cortar fragmento
Title»Título:
Artist»Artista:
Album»Álbum:
Year»Año:
Notes»Notas:
Genre»Género:
Track»Pista:
Convert»&Convertir
Start»Início
End»Fin
Set»Marcar
EncSeg»Codificar fragmento
Preview»Escuchar
FadInOut»Fundido de entrada / salida
Normalize»Normalizar
Translated»Traducido por el equipo de Tonmill
{FormatOptions}
Mp3Opt»Opciones MP3
AmrOpt»Opciones AMR
AC3Opt»Opciones AC3
MP2Opt»Opciones MP2
AACOpt»Opciones AAC
WAVOpt»Opciones WAV
Type»Tipo
NarrBand»Banda estrecha
WideBand»Banda ancha
Bitrate»Tasa de bits:
SamFreq»Frecuencia de muestreo
Channels»Canales
Channel»Canal
OutVol»Volumen de salida
OptHeadType»Optimizador (tipo de cabecera)
Profile»Perfil
{Setup}
Setup»Configuración
Languages»Idiomas disponibles (haga clic en las banderas para aplicarlos)
ExtPath»Rutas de las herramientas externas
Updates»Actualizaciones
chkUpdt»&Buscar actualizaciones ahora
AutUpdt»Buscar actualizaciones a&utomáticamente
UpdtMessage»Nota: estas funciones necesitan una conexión a Internet activa.
{About}
Notice»Tonmill es gratuito: puede usarlo y regalarlo sin coste alguno, pero nadie puede venderlo. Si ha pagado a alguien por este programa, comuníqueselo a su autor en tonmill@example.org.
)"},
    {"Francais", R"(Français
{Menus}
File»&Fichier
FileOpen»&Ouvrir
FileSaveAs»&Enregistrer sous
FileExit»&Quitter
Tools»&Outils
ToolTagEditor»Éditeur de &tags
ToolSetup»&Configuration
Help»&Aide
HelpAbout»À &propos
{Main}
OutFormat»Format de sortie :
FileMode»Mode fichier
BatchMode»Mode par lot
InFile»Fichier à convertir :
OutFile»Fichier de sortie
chkOutFolder»Dans le même dossier
FileInfo»Informations sur le fichier
ClipEdition»Édition d'extrait
TagViewer»Lecture/Édition des tags
CutSegment»Couper un segment
Title»Titre :
Artist»Artiste :
Album»Album :
Year»Année :
Notes»Notes :
Genre»Genre :
Track»Piste :
Convert»Convertir
Start»Début
End»Fin
Set»Fixer
EncSeg»Encoder le segment
Preview»Écouter
FadInOut»Fondu d'entrée / de sortie
Normalize»Normaliser
Translated»Traduit par l'équipe de Tonmill
{FormatOptions}
Mp3Opt»Options MP3
AmrOpt»Options AMR
AC3Opt»Options AC3
MP2Opt»Options MP2
AACOpt»Options AAC
WAVOpt»Options WAV
Type»Type
NarrBand»Bande étroite
WideBand»Bande large
Bitrate»Débit :
SamFreq»Fréquence d'échantillonnage
Channels»Canaux
Channel»Canal
OutVol»Volume de sortie
OptHeadType»Optimiseur (type d'en-tête)
Profile»Profil
{Setup}
Setup»Configuration
Languages»Langues disponibles (cliquez sur un drapeau pour l'appliquer)
ExtPath»Chemins des outils externes
Updates»Mises à jour
chkUpdt»&Rechercher les mises à jour maintenant
AutUpdt»Rechercher les mises à jour a&utomatiquement
UpdtMessage»Remarque : ces fonctions demandent une connexion Internet active.
{About}
Notice»Tonmill est un logiciel gratuit : vous pouvez l'utiliser et le donner sans frais, mais personne n'a le droit de le vendre. Si vous avez payé quelqu'un pour ce programme, merci de le signaler à son auteur à tonmill@example.org.
)"},
    {"Deutsch", R"(Deutsch
{Menus}
File»&Datei
FileOpen»Ö&ffnen
FileSaveAs»Speichern &unter
FileExit»&Beenden
Tools»E&xtras
ToolTagEditor»&Tag-Editor
ToolSetup»&Einstellungen
Help»&Hilfe
HelpAbout»Ü&ber
{Main}
OutFormat»Ausgabeformat:
FileMode»Dateimodus
BatchMode»Stapelmodus
InFile»Zu konvertierende Datei:
OutFile»Ausgabedatei
chkOutFolder»In denselben Ordner
FileInfo»Dateiinformationen
ClipEdition»Ausschnitt bearbeiten
TagViewer»Tag-Anzeige/-Editor
CutSegment»Ausschnitt schneiden
Title»Titel:
Artist»Interpret:
Album»Album:
Year»Jahr:
Notes»Notizen:
Genre»Genre:
Track»Titelnr.:
Convert»&Konvertieren
Start»Anfang
End»Ende
Set»Setzen
EncSeg»Ausschnitt kodieren
Preview»Vorhören
FadInOut»Ein- / Ausblenden
Normalize»Normalisieren
Translated»Übersetzt vom Tonmill-Team
{FormatOptions}
Mp3Opt»MP3-Optionen
AmrOpt»AMR-Optionen
AC3Opt»AC3-Optionen
MP2Opt»MP2-Optionen
AACOpt»AAC-Optionen
WAVOpt»WAV-Optionen
Type»Typ
NarrBand»Schmalband
WideBand»Breitband
Bitrate»Bitrate:
SamFreq»Abtastrate
Channels»Kanäle
Channel»Kanal
OutVol»Ausgabelautstärke
OptHeadType»Optimierer (Header-Typ)
Profile»Profil
{Setup}
Setup»Einstellungen
Languages»Verfügbare Sprachen (zum Übernehmen auf eine Flagge klicken)
ExtPath»Pfade der externen Programme
Updates»Aktualisierungen
chkUpdt»Jetzt nach &Updates suchen
AutUpdt»&Automatisch nach Updates suchen
UpdtMessage»Hinweis: Diese Funktionen brauchen eine aktive Internetverbindung.
{About}
Notice»Tonmill ist Freeware: Sie dürfen es kostenlos nutzen und weitergeben, aber niemand darf es verkaufen. Falls Sie für dieses Programm bezahlt haben, teilen Sie das bitte dem Autor unter tonmill@example.org mit.
)"},
}};

} // namespace

QStringList builtInLanguageNames()
{
    QStringList names;
    for (const BuiltInLanguage &language : kLanguages)
        names.append(QString::fromLatin1(language.name));
    return names;
}

QStringList builtInLanguageLines(const QString &name)
{
    for (const BuiltInLanguage &language : kLanguages) {
        if (name == QLatin1String(language.name))
            return QString::fromUtf8(language.lines).split(u'\n', Qt::SkipEmptyParts);
    }
    return {};
}

QString builtInDisplayName(const QString &name)
{
    return builtInLanguageLines(name).value(0);
}

} // namespace tonmill
