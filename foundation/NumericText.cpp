#include "foundation/NumericText.h"

#include <QRegularExpression>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

QString usualWidth(QString text)
{
    constexpr char16_t firstWide = 0xff01;
    constexpr char16_t lastWide = 0xff5e;
    for (QChar &character : text) {
        if (character >= firstWide && character <= lastWide)
            character = QChar(character.unicode() - firstWide + u'!');
    }
    return text;
}

std::optional<double> numericValue(const QString &text)
{
    static const QRegularExpression form(u"^[+-]?([0-9]+(\\.[0-9]*)?|\\.[0-9]+)$"_s);
    const QString trimmed = usualWidth(text).trimmed();
    if (!form.match(trimmed).hasMatch())
        return std::nullopt;
    return trimmed.toDouble();
}

std::optional<qint32> wholeNumber(double value)
{
    const double whole = value - std::remainder(value, 1.0); // remainder() rounds halves to even
    if (!(whole >= std::numeric_limits<qint32>::min() && whole <= std::numeric_limits<qint32>::max()))
        return std::nullopt;
    return static_cast<qint32>(whole);
}
