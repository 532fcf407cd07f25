#include "app/FontFamilies.h"

#include <QFont>
#include <QString>

void FontFamilies::registerSubstitutes()
{
    QFont::insertSubstitution(QStringLiteral("Open Sans Regular"), QStringLiteral("Open Sans"));
    QFont::insertSubstitution(QStringLiteral("Open Sans Bold"), QStringLiteral("Open Sans"));
    QFont::insertSubstitution(QStringLiteral("Open Sans Condensed Bold"), QStringLiteral("Open Sans Condensed"));
}
