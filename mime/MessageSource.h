#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <gmime/gmime.h>
#include <memory>

struct GObjectRelease {
    template <typename T>
    void operator()(T *object) const noexcept
    {
        g_object_unref(object);
    }
};
/// Owns one reference to a GObject.
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectRelease>;

/// The octets of a message with the structure that GMime found in them. GMime reads from these octets and
/// copies none of them, so everything taken from structure() lives as long as the source.
class MessageSource
{
public:
    /// octets: as retrieved. Blank lines and an mbox "From " line in front are dropped; NUL in the header
    /// becomes a blank.
    explicit MessageSource(QByteArray octets);
    ~MessageSource();
    MessageSource(const MessageSource &) = delete;
    MessageSource &operator=(const MessageSource &) = delete;

    /// The outermost part; null when the text has no header, or is empty.
    [[nodiscard]] GMimeObject *structure() const;
    /// Raw values of the header fields with that name, in the order of the message.
    [[nodiscard]] QByteArrayList headerValues(const char *name) const;
    /// As headerValues for several names at once, in the order of the message; names that match are lower
    /// case.
    [[nodiscard]] QList<std::pair<QByteArray, QByteArray>> headerFields(const QByteArrayList &names) const;
    /// Everything after the header, undecoded.
    [[nodiscard]] QByteArrayView rawBody() const;

private:
    void parse();

    QByteArray m_octets;
    qsizetype m_bodyAt = 0;
    GByteArray *m_lentOctets = nullptr; // refers to m_octets, owns nothing
    GObjectPtr<GMimeMessage> m_message;
};

/// Tolerant options for every header that GMime parses for us.
[[nodiscard]] GMimeParserOptions *tolerantOptions();

/// The content of a part with its transfer encoding undone; as it stands where the encoding is unknown or,
/// for text, evidently wrong. Never fails: what a damaged encoding still gives is given.
[[nodiscard]] QByteArray decodedContent(GMimePart *part);

/// Raw value of the first header field of that name of a part; empty when there is none.
[[nodiscard]] QByteArray rawHeader(GMimeObject *object, const char *name);
