#include "platform/pop3/MessageSource.h"

#include <algorithm>
#include <utility>

namespace
{
void initialiseGMime()
{
    static const bool done = (g_mime_init(), true);
    (void)done;
}

QByteArrayView firstLine(QByteArrayView text)
{
    const qsizetype end = text.indexOf('\n');
    return end < 0 ? text : text.first(end + 1);
}

/// A field name (RFC 5322, 2.2) and a colon start the line.
bool isHeaderLine(QByteArrayView line)
{
    const qsizetype colon = line.indexOf(':');
    return colon > 0 && std::all_of(line.begin(), line.begin() + colon, [](char c) {
        return (c > 0x20 && c < 0x7F) || c == '\t' || c == ' ';
    }) && line.front() != ' ' && line.front() != '\t';
}

/// Blank lines and an mbox separator in front of a message.
qsizetype rubbishInFront(QByteArrayView octets)
{
    qsizetype at = 0;
    for (;;) {
        const QByteArrayView line = firstLine(octets.sliced(at));
        const bool rubbish = line.trimmed().isEmpty() || line.startsWith("From ") || line.startsWith(">From ");
        if (line.isEmpty() || !rubbish)
            return at;
        at += line.size();
    }
}

/// Where the body starts: after the first blank line, or at the end.
qsizetype bodyStart(QByteArrayView octets)
{
    qsizetype at = 0;
    while (at < octets.size()) {
        const QByteArrayView line = firstLine(octets.sliced(at));
        at += line.size();
        if (line == "\n" || line == "\r\n")
            break;
    }
    return at;
}

/// Text that somebody labelled base64: words with blanks between them, or octets outside ASCII.
bool isEvidentlyNotBase64(QByteArrayView octets)
{
    constexpr qsizetype looked = 4096;
    octets = octets.first(qMin(octets.size(), looked));
    qsizetype foreign = 0;
    for (const char c : octets) {
        const bool known = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
                           c == '/' || c == '=' || c == '\r' || c == '\n';
        foreign += known ? 0 : 1;
    }
    return foreign * 50 > octets.size(); // more than 2 in 100
}

QByteArray readAll(GMimeStream *stream, qint64 expected)
{
    constexpr qint64 chunk = 64LL * 1024;
    QByteArray octets;
    octets.reserve(static_cast<qsizetype>(std::max<qint64>(expected, 0) + chunk));
    for (;;) {
        const qsizetype before = octets.size();
        octets.resize(before + chunk);
        const ssize_t got = g_mime_stream_read(stream, octets.data() + before, chunk);
        octets.resize(before + std::max<ssize_t>(got, 0));
        if (got <= 0)
            break;
    }
    return octets;
}
} // namespace

GMimeParserOptions *tolerantOptions()
{
    static GMimeParserOptions *const options = [] {
        initialiseGMime();
        auto *tolerant = g_mime_parser_options_new();
        g_mime_parser_options_set_address_compliance_mode(tolerant, GMIME_RFC_COMPLIANCE_LOOSE);
        g_mime_parser_options_set_parameter_compliance_mode(tolerant, GMIME_RFC_COMPLIANCE_LOOSE);
        g_mime_parser_options_set_rfc2047_compliance_mode(tolerant, GMIME_RFC_COMPLIANCE_LOOSE);
        const char *charsets[] = {"utf-8", "gb18030", nullptr};
        g_mime_parser_options_set_fallback_charsets(tolerant, charsets);
        return tolerant;
    }();
    return options;
}

MessageSource::MessageSource(QByteArray octets) : m_octets(std::move(octets))
{
    // Moving a few octets is rare; the usual message starts with its header.
    if (const qsizetype rubbish = rubbishInFront(m_octets); rubbish > 0)
        m_octets.remove(0, rubbish);
    if (!isHeaderLine(firstLine(m_octets)))
        return;
    m_bodyAt = bodyStart(m_octets);
    if (QByteArrayView(m_octets).first(m_bodyAt).contains('\0'))
        std::replace(m_octets.begin(), m_octets.begin() + m_bodyAt, '\0', ' ');
    parse();
}

void MessageSource::parse()
{
    GMimeParserOptions *options = tolerantOptions();
    m_lentOctets = g_byte_array_new_take(reinterpret_cast<guint8 *>(m_octets.data()),
                                         static_cast<gsize>(m_octets.size()));
    const GObjectPtr<GMimeStream> stream(g_mime_stream_mem_new_with_byte_array(m_lentOctets));
    g_mime_stream_mem_set_owner(GMIME_STREAM_MEM(stream.get()), FALSE);
    const GObjectPtr<GMimeParser> parser(g_mime_parser_new_with_stream(stream.get()));
    m_message.reset(g_mime_parser_construct_message(parser.get(), options));
}

MessageSource::~MessageSource()
{
    m_message.reset();
    if (m_lentOctets) {
        g_byte_array_steal(m_lentOctets, nullptr);
        g_byte_array_unref(m_lentOctets);
    }
}

GMimeObject *MessageSource::structure() const
{
    return m_message ? g_mime_message_get_mime_part(m_message.get()) : nullptr;
}

QByteArrayView MessageSource::rawBody() const
{
    return QByteArrayView(m_octets).sliced(m_bodyAt);
}

QList<std::pair<QByteArray, QByteArray>> MessageSource::headerFields(const QByteArrayList &names) const
{
    QList<std::pair<QByteArray, QByteArray>> fields;
    const auto collect = [&](GMimeObject *object) {
        GMimeHeaderList *headers = g_mime_object_get_header_list(object);
        for (int i = 0; i < g_mime_header_list_get_count(headers); ++i) {
            GMimeHeader *header = g_mime_header_list_get_header_at(headers, i);
            const QByteArray name = QByteArray(g_mime_header_get_name(header)).trimmed().toLower();
            if (names.contains(name))
                fields.append({name, QByteArray(g_mime_header_get_raw_value(header))});
        }
    };
    if (m_message)
        collect(GMIME_OBJECT(m_message.get()));
    return fields;
}

QByteArrayList MessageSource::headerValues(const char *name) const
{
    QByteArrayList values;
    for (const auto &field : headerFields({QByteArray(name).toLower()}))
        values << field.second;
    return values;
}

QByteArray decodedContent(GMimePart *part)
{
    GMimeDataWrapper *content = g_mime_part_get_content(part);
    if (!content)
        return {};
    GMimeStream *encoded = g_mime_data_wrapper_get_stream(content);
    g_mime_stream_reset(encoded);
    const GMimeContentEncoding encoding = g_mime_data_wrapper_get_encoding(content);
    const gint64 length = g_mime_stream_length(encoded);

    const bool base64 = encoding == GMIME_CONTENT_ENCODING_BASE64;
    if (!base64 && encoding != GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE &&
        encoding != GMIME_CONTENT_ENCODING_UUENCODE)
        return readAll(encoded, length);
    if (base64 && g_mime_content_type_is_type(g_mime_object_get_content_type(GMIME_OBJECT(part)), "text", "*")) {
        QByteArray raw = readAll(encoded, length);
        if (isEvidentlyNotBase64(raw))
            return raw;
        g_mime_stream_reset(encoded);
    }
    const GObjectPtr<GMimeStream> decoded(g_mime_stream_filter_new(encoded));
    const GObjectPtr<GMimeFilter> filter(g_mime_filter_basic_new(encoding, FALSE));
    g_mime_stream_filter_add(GMIME_STREAM_FILTER(decoded.get()), filter.get());
    return readAll(decoded.get(), base64 ? length / 4 * 3 : length);
}

QByteArray rawHeader(GMimeObject *object, const char *name)
{
    GMimeHeader *header = g_mime_header_list_get_header(g_mime_object_get_header_list(object), name);
    return header ? QByteArray(g_mime_header_get_raw_value(header)) : QByteArray();
}
