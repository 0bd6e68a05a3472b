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

} // namespace tonmill
