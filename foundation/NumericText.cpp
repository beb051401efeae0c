#include "foundation/NumericText.h"

#include <QRegularExpression>
#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

std::optional<double> numericValue(const QString &text)
{
    static const QRegularExpression form(u"^[+-]?([0-9]+(\\.[0-9]*)?|\\.[0-9]+)$"_s);
    const QString trimmed = text.trimmed();
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
