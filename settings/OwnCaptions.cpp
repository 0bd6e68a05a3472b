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
    {"Setup", "cmdBrowse1.name", {"Choose ffmpeg", "Escolher o ffmpeg", "Elegir ffmpeg", "Choisir ffmpeg", "ffmpeg wählen"}},
    {"Setup", "cmdBrowse2.name", {"Choose QuEnc", "Escolher o QuEnc", "Elegir QuEnc", "Choisir QuEnc", "QuEnc wählen"}},
    {"About", "About", {"About Tonmill", "Sobre o Tonmill", "Acerca de Tonmill", "À propos de Tonmill", "Über Tonmill"}},
    {"About", "lnkHome", {"Tonmill's web site", "Página do Tonmill", "Sitio web de Tonmill", "Site web de Tonmill",
                          "Webseite von Tonmill"}},
    {"About", "lnkAuthor", {"Write to the author", "Escrever ao autor", "Escribir al autor", "Écrire à l'auteur",
                            "Dem Autor schreiben"}},
    {"About", "btnOk", {"OK", "OK", "Aceptar", "OK", "OK"}},
    {"Equalizer", "Equalizer", {"Equalizer", "Equalizador", "Ecualizador", "Égaliseur", "Equalizer"}},
    {"Equalizer", "btnZero", {"Reset", "Zerar", "Restablecer", "Réinitialiser", "Zurücksetzen"}},
    {"Equalizer", "SEq_*.description", {"Gain of the band at this frequency in hertz, in decibels",
                                        "Ganho da banda nesta frequência em hertz, em decibéis",
                                        "Ganancia de la banda en esta frecuencia en hercios, en decibelios",
                                        "Gain de la bande à cette fréquence en hertz, en décibels",
                                        "Verstärkung des Bands bei dieser Frequenz in Hertz, in Dezibel"}},
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
    {"Main", "optM4AMode_0", {"Target bitrate", "Taxa de bits alvo", "Tasa de bits objetivo", "Débit cible",
                              "Ziel-Bitrate"}},
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
    {"Main", "lblLoudness", {"Loudness:", "Loudness:", "Sonoridad:", "Sonie :", "Lautheit:"}},
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
    // What a screen reader says for controls whose caption says too little
    // or nothing, and what the fields of the options and the cut take.
    {"Main", "cmdBrowse.name", {"Choose the file to convert", "Escolher o arquivo a converter",
                                "Elegir el archivo a convertir", "Choisir le fichier à convertir",
                                "Datei zum Konvertieren wählen"}},
    {"Main", "lstBatch.name", {"Files to convert", "Arquivos a converter", "Archivos a convertir",
                               "Fichiers à convertir", "Zu konvertierende Dateien"}},
    {"Main", "txtOutputDir.name", {"Output folder", "Pasta de saída", "Carpeta de salida", "Dossier de sortie",
                                   "Ausgabeordner"}},
    {"Main", "btnOutputDir.name", {"Choose the output folder", "Escolher a pasta de saída",
                                   "Elegir la carpeta de salida", "Choisir le dossier de sortie",
                                   "Ausgabeordner wählen"}},
    {"Main", "btnSetS.name", {"Set the start", "Marcar o início", "Marcar el inicio", "Placer le début",
                              "Anfang setzen"}},
    {"Main", "btnSetE.name", {"Set the end", "Marcar o fim", "Marcar el final", "Placer la fin", "Ende setzen"}},
    {"Main", "txtCut*.description", {"Seconds, written as 000.000", "Segundos, no formato 000.000",
                                     "Segundos, en el formato 000.000", "Secondes, sous la forme 000.000",
                                     "Sekunden, geschrieben als 000.000"}},
    {"Main", "optSamFreq*.description", {"Sampling frequency in hertz", "Frequência de amostragem em hertz",
                                         "Frecuencia de muestreo en hercios", "Fréquence d'échantillonnage en hertz",
                                         "Abtastrate in Hertz"}},
    {"Main", "Combo*.description", {"Bitrate in kilobits per second", "Taxa de bits em kilobits por segundo",
                                    "Tasa de bits en kilobits por segundo", "Débit en kilobits par seconde",
                                    "Bitrate in Kilobit pro Sekunde"}},
    {"Main", "cmb*BitRate.description", {"Bitrate in kilobits per second", "Taxa de bits em kilobits por segundo",
                                         "Tasa de bits en kilobits por segundo", "Débit en kilobits par seconde",
                                         "Bitrate in Kilobit pro Sekunde"}},
    {"Main", "optProfileAAC_*.description", {"AAC profile", "Perfil AAC", "Perfil AAC", "Profil AAC", "AAC-Profil"}},
    {"Main", "optMP2Header_*.description", {"Header type of the MP2 stream", "Tipo de cabeçalho do fluxo MP2",
                                            "Tipo de cabecera del flujo MP2", "Type d'en-tête du flux MP2",
                                            "Headertyp des MP2-Datenstroms"}},
    {"Main", "opt*Bits_*.description", {"Bits per sample", "Bits por amostra", "Bits por muestra",
                                        "Bits par échantillon", "Bits pro Abtastwert"}},
    {"Main", "optPCM_*.description", {"Bits per sample", "Bits por amostra", "Bits por muestra",
                                      "Bits par échantillon", "Bits pro Abtastwert"}},
    {"Main", "optOpusMode_*.description", {"Variable or constant bitrate", "Taxa de bits variável ou constante",
                                           "Tasa de bits variable o constante", "Débit variable ou constant",
                                           "Variable oder konstante Bitrate"}},
    {"Main", "cmbFLACLevel.description", {"From 0, fastest, to 8, smallest file", "De 0, mais rápido, a 8, arquivo menor",
                                          "De 0, más rápido, a 8, archivo más pequeño",
                                          "De 0, le plus rapide, à 8, le fichier le plus petit",
                                          "Von 0, am schnellsten, bis 8, kleinste Datei"}},
    {"Main", "cmbOggQuality.description", {"From -1, smallest file, to 10, best sound",
                                           "De -1, arquivo menor, a 10, melhor som",
                                           "De -1, archivo más pequeño, a 10, mejor sonido",
                                           "De -1, le fichier le plus petit, à 10, le meilleur son",
                                           "Von -1, kleinste Datei, bis 10, bester Klang"}},
    {"Main", "cmbM4AQuality.description", {"Higher is better sound and a larger file",
                                           "Maior é melhor som e arquivo maior",
                                           "Mayor es mejor sonido y archivo más grande",
                                           "Plus haut, meilleur son et fichier plus gros",
                                           "Höher ist besserer Klang und größere Datei"}},
    {"Main", "slVolume.name", {"Output volume", "Volume de saída", "Volumen de salida", "Volume de sortie",
                               "Ausgabelautstärke"}},
    {"Main", "spnTruePeak.name", {"True-peak ceiling", "Teto de pico real", "Techo de pico real",
                                  "Plafond de crête vraie", "True-Peak-Obergrenze"}},
    {"Main", "PB1.name", {"Progress", "Progresso", "Progreso", "Progression", "Fortschritt"}},
    {"Main", "btnPlay.name", {"Play", "Reproduzir", "Reproducir", "Lecture", "Wiedergabe"}},
    {"Main", "btnPause.name", {"Pause", "Pausar", "Pausa", "Pause", "Pause"}},
    {"Main", "btnStepBBB.name", {"Back 5 seconds", "Voltar 5 segundos", "Retroceder 5 segundos",
                                 "Reculer de 5 secondes", "5 Sekunden zurück"}},
    {"Main", "btnStepBB.name", {"Back 1 second", "Voltar 1 segundo", "Retroceder 1 segundo", "Reculer d'une seconde",
                                "1 Sekunde zurück"}},
    {"Main", "btnStepB.name", {"Back a tenth of a second", "Voltar um décimo de segundo",
                               "Retroceder una décima de segundo", "Reculer d'un dixième de seconde",
                               "Eine Zehntelsekunde zurück"}},
    {"Main", "btnStepF.name", {"Forward a tenth of a second", "Avançar um décimo de segundo",
                               "Avanzar una décima de segundo", "Avancer d'un dixième de seconde",
                               "Eine Zehntelsekunde vor"}},
    {"Main", "btnStepFF.name", {"Forward 1 second", "Avançar 1 segundo", "Avanzar 1 segundo", "Avancer d'une seconde",
                                "1 Sekunde vor"}},
    {"Main", "btnStepFFF.name", {"Forward 5 seconds", "Avançar 5 segundos", "Avanzar 5 segundos",
                                 "Avancer de 5 secondes", "5 Sekunden vor"}},
    {"Main", "Slider1.name", {"Position", "Posição", "Posición", "Position", "Position"}},
    {"Main", "txtCounter1.name", {"Elapsed time", "Tempo decorrido", "Tiempo transcurrido", "Temps écoulé",
                                  "Verstrichene Zeit"}},
    {"Main", "txtCounter2.name", {"Elapsed seconds", "Segundos decorridos", "Segundos transcurridos",
                                  "Secondes écoulées", "Verstrichene Sekunden"}},
    {"Main", "rtbLog.name", {"Activity log", "Log de atividades", "Registro de actividad", "Journal d'activité",
                             "Aktivitätsprotokoll"}},
    {"Main", "rtbOutput.name", {"Encoder output", "Saída do codificador", "Salida del codificador",
                                "Sortie de l'encodeur", "Encoder-Ausgabe"}},
    {"Main", "txtSend.name", {"Text for the encoder", "Texto para o codificador", "Texto para el codificador",
                              "Texte pour l'encodeur", "Text an den Encoder"}},
    // The mute button's caption names what its click does with fixed words;
    // the window names it in the language.
    {"Main", "BtnMute.mute", {"Mute", "Silenciar", "Silenciar", "Couper le son", "Stumm schalten"}},
    {"Main", "BtnMute.unmute", {"Unmute", "Ativar o som", "Activar el sonido", "Rétablir le son", "Ton einschalten"}},
    // What a screen reader is told when a job has ended.
    {"Main", "job.ended", {"Conversion finished", "Conversão concluída", "Conversión terminada", "Conversion terminée",
                           "Konvertierung abgeschlossen"}},
    {"Main", "job.failed", {"Conversion failed", "A conversão falhou", "La conversión falló", "La conversion a échoué",
                            "Konvertierung fehlgeschlagen"}},
    {"Main", "job.aborted", {"Conversion aborted", "Conversão interrompida", "Conversión cancelada",
                             "Conversion interrompue", "Konvertierung abgebrochen"}},
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
