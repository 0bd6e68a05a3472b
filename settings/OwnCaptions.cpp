#include "settings/OwnCaptions.h"

#include "settings/BuiltInLanguages.h"

namespace tonmill {

namespace {

constexpr OwnCaption kCaptions[] = {
    {"Setup", "chkVista",
     {"Compact window height", "Altura compacta da janela", "Altura compacta de la ventana", "Hauteur de fenêtre compacte",
      "Kompakte Fensterhöhe"}},
    {"Setup", "btnOk", {"OK", "OK", "Aceptar", "OK", "OK"}},
    {"Setup", "btnCancel", {"Cancel", "Cancelar", "Cancelar", "Annuler", "Abbrechen"}},
    {"About", "About", {"About Tonmill", "Sobre o Tonmill", "Acerca de Tonmill", "À propos de Tonmill", "Über Tonmill"}},
    {"About", "lnkHome", {"Tonmill's web site", "Página do Tonmill", "Sitio web de Tonmill", "Site web de Tonmill",
                          "Webseite von Tonmill"}},
    {"About", "lnkAuthor", {"Write to the author", "Escrever ao autor", "Escribir al autor", "Écrire à l'auteur",
                            "Dem Autor schreiben"}},
    {"About", "btnOk", {"OK", "OK", "Aceptar", "OK", "OK"}},
    {"Equalizer", "Equalizer", {"Equalizer", "Equalizador", "Ecualizador", "Égaliseur", "Equalizer"}},
    {"Equalizer", "btnZero", {"Reset", "Zerar", "Restablecer", "Réinitialiser", "Zurücksetzen"}},
    {"Equalizer", "chkApply", {"Apply to the output", "Aplicar à saída", "Aplicar a la salida", "Appliquer à la sortie",
                               "Auf die Ausgabe anwenden"}},
    {"Main", "mnuLog", {"Show Activity &Log", "Mostrar &log de atividades", "Mostrar &registro de actividad",
                        "Afficher le &journal d'activité", "Aktivitäts&protokoll anzeigen"}},
    {"Main", "mnuSaveLog", {"Save L&og", "Salvar l&og", "&Guardar registro", "&Enregistrer le journal",
                            "Protokoll spei&chern"}},
    {"Main", "btnInfo", {"File Info", "Info do arquivo", "Info del archivo", "Infos fichier", "Dateiinfo"}},
    {"Main", "fraPCM", {"PCM Codec", "Codec PCM", "Códec PCM", "Codec PCM", "PCM-Codec"}},
    {"Main", "frmWMA", {"WMA Options", "Opções WMA", "Opciones WMA", "Options WMA", "WMA-Optionen"}},
    {"Main", "lblWMAProfile", {"Profile:", "Perfil:", "Perfil:", "Profil :", "Profil:"}},
    // The formats after WMA.
    {"Main", "frmFLAC", {"FLAC Options", "Opções FLAC", "Opciones FLAC", "Options FLAC", "FLAC-Optionen"}},
    {"Main", "frmOPUS", {"Opus Options", "Opções Opus", "Opciones Opus", "Options Opus", "Opus-Optionen"}},
    {"Main", "frmOGG", {"Ogg Vorbis Options", "Opções Ogg Vorbis", "Opciones Ogg Vorbis", "Options Ogg Vorbis",
                        "Ogg-Vorbis-Optionen"}},
    {"Main", "frmM4A", {"M4A Options", "Opções M4A", "Opciones M4A", "Options M4A", "M4A-Optionen"}},
    {"Main", "frmALAC", {"ALAC Options", "Opções ALAC", "Opciones ALAC", "Options ALAC", "ALAC-Optionen"}},
    {"Main", "optSamFreqFLAC_0", {"Source", "Original", "Original", "Source", "Quelle"}},
    {"Main", "optSamFreqALAC_0", {"Source", "Original", "Original", "Source", "Quelle"}},
    {"Main", "fraBitsFLAC", {"Bit Depth", "Profundidade de bits", "Profundidad de bits", "Profondeur de bits", "Bittiefe"}},
    {"Main", "fraBitsALAC", {"Bit Depth", "Profundidade de bits", "Profundidad de bits", "Profondeur de bits", "Bittiefe"}},
    {"Main", "optFLACBits_0", {"16 bit", "16 bits", "16 bits", "16 bits", "16 Bit"}},
    {"Main", "optFLACBits_1", {"24 bit", "24 bits", "24 bits", "24 bits", "24 Bit"}},
    {"Main", "optALACBits_0", {"16 bit", "16 bits", "16 bits", "16 bits", "16 Bit"}},
    {"Main", "optALACBits_1", {"24 bit", "24 bits", "24 bits", "24 bits", "24 Bit"}},
    {"Main", "lblFLACLevel", {"Compression level:", "Nível de compressão:", "Nivel de compresión:",
                              "Niveau de compression :", "Kompressionsstufe:"}},
    {"Main", "fraOpusMode", {"Bitrate Mode", "Modo de taxa de bits", "Modo de tasa de bits", "Mode de débit",
                             "Bitratenmodus"}},
    {"Main", "optOpusMode_0", {"VBR", "VBR", "VBR", "VBR", "VBR"}},
    {"Main", "optOpusMode_1", {"CBR", "CBR", "CBR", "CBR", "CBR"}},
    {"Main", "fraOpusApp", {"Application", "Aplicação", "Aplicación", "Application", "Anwendung"}},
    {"Main", "optOpusApp_0", {"Music", "Música", "Música", "Musique", "Musik"}},
    {"Main", "optOpusApp_1", {"Speech", "Voz", "Voz", "Parole", "Sprache"}},
    {"Main", "optOpusApp_2", {"Low delay", "Baixa latência", "Baja latencia", "Faible latence", "Geringe Latenz"}},
    {"Main", "lblOggQuality", {"Quality:", "Qualidade:", "Calidad:", "Qualité :", "Qualität:"}},
    {"Main", "fraM4AMode", {"Encoding", "Codificação", "Codificación", "Encodage", "Kodierung"}},
    {"Main", "optM4AMode_0", {"Bitrate", "Taxa de bits", "Tasa de bits", "Débit", "Bitrate"}},
    {"Main", "optM4AMode_1", {"VBR quality", "Qualidade VBR", "Calidad VBR", "Qualité VBR", "VBR-Qualität"}},
    {"Main", "lblM4AQuality", {"Quality:", "Qualidade:", "Calidad:", "Qualité :", "Qualität:"}},
    {"Main", "lblNoTags", {"The chosen format keeps no tags.", "O formato escolhido não guarda tags.",
                           "El formato elegido no guarda etiquetas.", "Le format choisi ne garde aucune balise.",
                           "Das gewählte Format speichert keine Tags."}},
    // The loudness list's own entries and the tips of the loudness controls.
    {"Main", "cmbLoudness.Off", {"Peak level only", "Só nível de pico", "Solo nivel de pico", "Niveau de crête seul",
                                 "Nur Spitzenpegel"}},
    {"Main", "cmbLoudness.ReplayGain", {"ReplayGain tags", "Tags ReplayGain", "Etiquetas ReplayGain",
                                        "Balises ReplayGain", "ReplayGain-Tags"}},
    {"Main", "cmbLoudness.ReplayGainAlbum", {"ReplayGain tags, album", "Tags ReplayGain, álbum",
                                             "Etiquetas ReplayGain, álbum", "Balises ReplayGain, album",
                                             "ReplayGain-Tags, Album"}},
    {"Main", "cmbLoudness.Tip", {"Loudness normalisation (EBU R128) or ReplayGain tags",
                                 "Normalização de loudness (EBU R128) ou tags ReplayGain",
                                 "Normalización de sonoridad (EBU R128) o etiquetas ReplayGain",
                                 "Normalisation de la sonie (EBU R128) ou balises ReplayGain",
                                 "Lautheitsnormalisierung (EBU R128) oder ReplayGain-Tags"}},
    {"Main", "spnTruePeak.Tip", {"True-peak ceiling of loudness normalisation", "Teto de pico real da normalização",
                                 "Techo de pico real de la normalización", "Plafond de crête vraie de la normalisation",
                                 "True-Peak-Obergrenze der Normalisierung"}},
    {"Main", "picWaveform.Tip", {"Click: start of the segment; right click: its end; drag: the whole segment",
                                 "Clique: início do segmento; clique direito: o fim; arrastar: o segmento inteiro",
                                 "Clic: inicio del segmento; clic derecho: el final; arrastrar: el segmento entero",
                                 "Clic : début du segment ; clic droit : la fin ; glisser : le segment entier",
                                 "Klick: Anfang des Abschnitts; Rechtsklick: sein Ende; Ziehen: der ganze Abschnitt"}},
    {"Main", "cmdPreviewResult", {"Preview Result", "Pré-ouvir resultado", "Escuchar resultado", "Écouter le résultat",
                                  "Ergebnis anhören"}},
    {"Main", "cmdPreviewResult.Tip",
     {"Encodes ten seconds from the player's place with every current choice, plays them and estimates the output's size",
      "Codifica dez segundos a partir da posição do player com todas as escolhas atuais, toca-os e estima o tamanho da saída",
      "Codifica diez segundos desde la posición del reproductor con todas las opciones actuales, los reproduce y estima el tamaño de la salida",
      "Encode dix secondes depuis la position du lecteur avec tous les choix actuels, les joue et estime la taille de la sortie",
      "Kodiert zehn Sekunden ab der Position des Players mit allen aktuellen Einstellungen, spielt sie ab und schätzt die Größe der Ausgabe"}},
    {"Main", "lblEstimate.Tip", {"Estimated size of the whole output and its bit rate, from the last preview of the result",
                                 "Tamanho estimado da saída inteira e sua taxa de bits, da última pré-escuta do resultado",
                                 "Tamaño estimado de toda la salida y su tasa de bits, de la última escucha del resultado",
                                 "Taille estimée de toute la sortie et son débit, d'après la dernière écoute du résultat",
                                 "Geschätzte Größe der ganzen Ausgabe und ihre Bitrate, nach dem letzten Anhören des Ergebnisses"}},
    {"Main", "chk51UpMix", {"5.1 UpMix", "Upmix 5.1", "Upmix 5.1", "Upmix 5.1", "5.1-Upmix"}},
    {"Main", "btnAbort", {"Abort", "Interromper", "Cancelar", "Interrompre", "Abbrechen"}},
    {"Main", "btnExit", {"Exit", "Sair", "Salir", "Quitter", "Beenden"}},
    {"Main", "fraConsole", {"Media Tool", "Ferramenta de mídia", "Herramienta multimedia", "Outil multimédia",
                            "Medienwerkzeug"}},
    {"Main", "fraEncoder", {"Encoder", "Codificador", "Codificador", "Encodeur", "Encoder"}},
    {"Main", "btnSend", {"Send", "Enviar", "Enviar", "Envoyer", "Senden"}},
    {"Main", "fraPlayer", {"Preview", "Pré-escuta", "Vista previa", "Aperçu", "Vorschau"}},
    {"Main", "lblVolume", {"Volume", "Volume", "Volumen", "Volume", "Lautstärke"}},
    // The letters keep clear of the Tools menu's other items in each language.
    {"Main", "mnuEqualizer", {"&Equalizer", "&Equalizador", "&Ecualizador", "É&galiseur", "E&qualizer"}},
    {"Main", "btnAddFiles", {"Add Files…", "Adicionar arquivos…", "Añadir archivos…", "Ajouter des fichiers…",
                             "Dateien hinzufügen…"}},
    {"Main", "btnAddFolder", {"Add Folder…", "Adicionar pasta…", "Añadir carpeta…", "Ajouter un dossier…",
                              "Ordner hinzufügen…"}},
    {"Main", "chkSubfolders", {"With Subfolders", "Com subpastas", "Con subcarpetas", "Avec sous-dossiers",
                               "Mit Unterordnern"}},
    {"Main", "btnRemove", {"Remove", "Remover", "Quitar", "Retirer", "Entfernen"}},
    {"Main", "btnClear", {"Clear", "Limpar", "Vaciar", "Vider", "Leeren"}},
    {"Main", "optOutBeside", {"Beside Each File", "Ao lado de cada arquivo", "Junto a cada archivo",
                              "À côté de chaque fichier", "Neben jeder Datei"}},
    {"Main", "optOutFolder", {"Into One Folder:", "Em uma única pasta:", "En una sola carpeta:",
                              "Dans un seul dossier :", "In einen Ordner:"}},
    {"Main", "btnOutputDir", {"…", "…", "…", "…", "…"}},
    // The batch list's column headers and the states of its files.
    {"Main", "lstBatch.File", {"File", "Arquivo", "Archivo", "Fichier", "Datei"}},
    {"Main", "lstBatch.Status", {"Status", "Situação", "Estado", "État", "Status"}},
    {"Main", "lstBatch.Output", {"Output", "Saída", "Salida", "Sortie", "Ausgabe"}},
    {"Main", "batch.waiting", {"waiting", "aguardando", "en espera", "en attente", "wartet"}},
    {"Main", "batch.measuring", {"measuring", "medindo", "midiendo", "mesure", "wird gemessen"}},
    {"Main", "batch.converting", {"converting", "convertendo", "convirtiendo", "conversion", "wird konvertiert"}},
    {"Main", "batch.done", {"done", "concluído", "hecho", "terminé", "fertig"}},
    {"Main", "batch.failed", {"failed", "falhou", "falló", "échec", "fehlgeschlagen"}},
    {"Main", "batch.skipped", {"skipped", "ignorado", "omitido", "ignoré", "übersprungen"}},
    {"Main", "batch.aborted", {"aborted", "abortado", "abortado", "abandonné", "abgebrochen"}},
    // How a batch names its outputs, and what becomes of existing ones.
    {"Main", "lblNamePattern", {"Name Pattern:", "Padrão de nome:", "Patrón de nombre:", "Modèle de nom :",
                                "Namensmuster:"}},
    {"Main", "lblExisting", {"If It Exists:", "Se já existir:", "Si ya existe:", "S'il existe :", "Falls vorhanden:"}},
    {"Main", "chkTrashSources", {"Move Sources to the Trash", "Mover originais para a lixeira",
                                 "Mover originales a la papelera", "Mettre les originaux à la corbeille",
                                 "Quelldateien in den Papierkorb"}},
    {"Main", "cmbExisting.ask", {"Ask", "Perguntar", "Preguntar", "Demander", "Fragen"}},
    {"Main", "cmbExisting.skip", {"Skip", "Ignorar", "Omitir", "Ignorer", "Überspringen"}},
    {"Main", "cmbExisting.overwrite", {"Overwrite", "Substituir", "Sobrescribir", "Écraser", "Überschreiben"}},
    {"Main", "cmbExisting.rename", {"Rename (2)", "Renomear (2)", "Renombrar (2)", "Renommer (2)", "Umbenennen (2)"}},
    {"Main", "preview.exists", {"exists", "já existe", "ya existe", "existe déjà", "vorhanden"}},
    {"Main", "preview.collides", {"same name as another file", "mesmo nome que outro arquivo",
                                  "mismo nombre que otro archivo", "même nom qu'un autre fichier",
                                  "gleicher Name wie eine andere Datei"}},
    // What a naming pattern writes for a tag the source lacks.
    {"Main", "pattern.artist", {"Unknown Artist", "Artista desconhecido", "Artista desconocido", "Artiste inconnu",
                                "Unbekannter Künstler"}},
    {"Main", "pattern.album", {"Unknown Album", "Álbum desconhecido", "Álbum desconocido", "Album inconnu",
                               "Unbekanntes Album"}},
    {"Main", "pattern.title", {"Unknown Title", "Título desconhecido", "Título desconocido", "Titre inconnu",
                               "Unbekannter Titel"}},
    {"Main", "pattern.genre", {"Unknown Genre", "Gênero desconhecido", "Género desconocido", "Genre inconnu",
                               "Unbekanntes Genre"}},
    {"Main", "pattern.year", {"Unknown Year", "Ano desconhecido", "Año desconocido", "Année inconnue",
                              "Unbekanntes Jahr"}},
};

} // namespace

std::span<const OwnCaption> ownCaptions()
{
    return kCaptions;
}

QString ownCaptionText(const OwnCaption &caption, const QString &displayName)
{
    static const QStringList displayNames = [] {
        QStringList names;
        for (const QString &name : builtInLanguageNames())
            names << builtInDisplayName(name);
        return names;
    }();
    const qsizetype index = displayNames.indexOf(displayName);
    return QString::fromUtf8(caption.texts[size_t(index >= 0 && size_t(index) < caption.texts.size() ? index : 0)]);
}

QString ownText(const char *form, const char *control, const QString &displayName)
{
    for (const OwnCaption &caption : ownCaptions()) {
        if (qstrcmp(caption.form, form) == 0 && qstrcmp(caption.control, control) == 0)
            return ownCaptionText(caption, displayName);
    }
    return {};
}

} // namespace tonmill
