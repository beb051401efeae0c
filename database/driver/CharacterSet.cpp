#include "database/driver/CharacterSet.h"

#include <array>
#include <iconv.h>

namespace
{

class Converter
{
public:
    explicit Converter(const QByteArray &to) : m_handle(::iconv_open(to.constData(), "UTF-8")) {}
    ~Converter()
    {
        if (isKnown())
            ::iconv_close(m_handle);
    }
    Converter(const Converter &) = delete;
    Converter &operator=(const Converter &) = delete;

    [[nodiscard]] bool isKnown() const
    {
        return m_handle != reinterpret_cast<iconv_t>(-1); // NOLINT(performance-no-int-to-ptr): POSIX says so
    }

    [[nodiscard]] bool converts(char32_t character) const
    {
        QByteArray octets = QString::fromUcs4(&character, 1).toUtf8();
        std::array<char, 16> converted{};
        char *in = octets.data();
        char *out = converted.data();
        auto inLeft = size_t(octets.size());
        size_t outLeft = converted.size();
        const size_t result = ::iconv(m_handle, &in, &inLeft, &out, &outLeft);
        const bool isWhole = result == 0 && inLeft == 0; // not 0: converted to something alike
        ::iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        return isWhole;
    }

private:
    iconv_t m_handle;
};

} // namespace

CharacterSet::CharacterSet(const QByteArray &iconvName)
{
    if (Converter(iconvName).isKnown())
        m_name = iconvName;
}

QString CharacterSet::fitted(const QString &text) const
{
    if (holdsAll())
        return text;
    const Converter converter(m_name);
    QList<uint> characters = text.toUcs4();
    for (uint &character : characters) {
        if (m_lacking.contains(character) || !converter.converts(character))
            character = U'?';
    }
    return QString::fromUcs4(reinterpret_cast<const char32_t *>(characters.constData()), characters.size());
}

bool CharacterSet::exclude(char32_t character)
{
    if (!holds(QString::fromUcs4(&character, 1)))
        return false;
    m_lacking.insert(character);
    return true;
}
