#include "mime/MessageSource.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr qsizetype longestField = 1024 * 1024; // octets of a header field that are read; the rest is cut off

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
    return colon > 0 &&
           std::all_of(line.begin(), line.begin() + colon,
                       [](char c) { return (c > 0x20 && c < 0x7F) || c == '\t' || c == ' '; }) &&
           line.front() != ' ' && line.front() != '\t';
}

/// Blank lines and an mbox separator in front of a message.
qsizetype rubbishInFront(QByteArrayView octets)
{
    qsizetype at = 0;
    for (;;) {
        const QByteArrayView line = firstLine(octets.sliced(at));
        const bool rubbish =
            line.trimmed().isEmpty() || line.startsWith("From ") || line.startsWith(">From ");
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

bool isAddressField(QByteArrayView line)
{
    for (const QByteArrayView name :
         {QByteArrayView("to:"), QByteArrayView("cc:"), QByteArrayView("bcc:"), QByteArrayView("from:"),
          QByteArrayView("sender:"), QByteArrayView("reply-to:")}) {
        if (line.size() > name.size() && qstrnicmp(line.data(), name.size(), name.data(), name.size()) == 0)
            return true;
    }
    return false;
}

/// GMime follows groups within groups in address fields, those of enclosed messages included, as deep as they
/// go, until the stack ends. No real list has so many colons; those beyond the limit become blanks.
void flattenNestedGroups(QByteArray &octets)
{
    constexpr int mostColons = 500;
    char *const data = octets.data();
    bool inField = false;
    int colons = 0;
    for (qsizetype at = 0; at < octets.size();) {
        const QByteArrayView line = firstLine(QByteArrayView(octets).sliced(at));
        const bool continued = line.front() == ' ' || line.front() == '\t';
        if (!continued) {
            inField = isAddressField(line);
            colons = 0;
        }
        for (qsizetype i = 0; inField && i < line.size(); ++i) {
            if (line[i] == ':' && ++colons > mostColons)
                data[at + i] = ' ';
        }
        at += line.size();
    }
}

/// Text that somebody labelled base64: words with blanks between them, or octets outside ASCII.
bool isEvidentlyNotBase64(QByteArrayView octets)
{
    constexpr qsizetype looked = 4096;
    octets = octets.first(qMin(octets.size(), looked));
    qsizetype foreign = 0;
    for (const char c : octets) {
        const bool known = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') ||
                           c == '+' || c == '/' || c == '=' || c == '\r' || c == '\n';
        foreign += known ? 0 : 1;
    }
    return foreign * 50 > octets.size(); // more than 2 in 100
}

constexpr qint64 readChunk = 64LL * 1024;

QByteArray readAll(GMimeStream *stream)
{
    QByteArray octets;
    octets.reserve(static_cast<qsizetype>(std::max<gint64>(g_mime_stream_length(stream), 0) + readChunk));
    for (;;) {
        const qsizetype before = octets.size();
        octets.resize(before + readChunk);
        const ssize_t got = g_mime_stream_read(stream, octets.data() + before, readChunk);
        octets.resize(before + std::max<ssize_t>(got, 0));
        if (got <= 0)
            break;
    }
    return octets;
}

QByteArray decodeAll(GMimeStream *stream, GMimeContentEncoding encoding)
{
    GMimeEncoding decoder;
    g_mime_encoding_init_decode(&decoder, encoding);
    QByteArray octets;
    const auto decode = [&](const char *in, size_t length) {
        const qsizetype before = octets.size();
        octets.resize(before + static_cast<qsizetype>(g_mime_encoding_outlen(&decoder, length)) + 8);
        octets.resize(before + static_cast<qsizetype>(
                                   g_mime_encoding_step(&decoder, in, length, octets.data() + before)));
    };
    const gint64 length = g_mime_stream_length(stream);
    octets.reserve(
        static_cast<qsizetype>(encoding == GMIME_CONTENT_ENCODING_BASE64 ? length / 4 * 3 : length) +
        2 * readChunk);
    QByteArray chunk(readChunk, Qt::Uninitialized);
    for (;;) {
        const ssize_t got = g_mime_stream_read(stream, chunk.data(), readChunk);
        if (got <= 0)
            break;
        decode(chunk.constData(), static_cast<size_t>(got));
    }
    // A message that was cut off still gives its last octets when the missing padding is put there.
    if (encoding == GMIME_CONTENT_ENCODING_BASE64)
        decode("==", 2);
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
    if (m_bodyAt == m_octets.size()) {
        // GMime gives nothing at all for a message that was cut off inside a field name.
        m_octets += "\r\n\r\n";
        m_bodyAt = m_octets.size();
    }
    if (QByteArrayView(m_octets).first(m_bodyAt).contains('\0'))
        std::replace(m_octets.begin(), m_octets.begin() + m_bodyAt, '\0', ' ');
    flattenNestedGroups(m_octets);
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
                fields.append({name, QByteArray(g_mime_header_get_raw_value(header)).left(longestField)});
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
    switch (encoding) {
    case GMIME_CONTENT_ENCODING_BASE64:
        if (g_mime_content_type_is_type(g_mime_object_get_content_type(GMIME_OBJECT(part)), "text", "*")) {
            QByteArray raw = readAll(encoded);
            if (isEvidentlyNotBase64(raw))
                return raw;
            g_mime_stream_reset(encoded);
        }
        return decodeAll(encoded, encoding);
    case GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE:
        return decodeAll(encoded, encoding);
    case GMIME_CONTENT_ENCODING_UUENCODE: {
        // Only the filter looks for the "begin" line.
        const GObjectPtr<GMimeStream> decoded(g_mime_stream_filter_new(encoded));
        const GObjectPtr<GMimeFilter> filter(g_mime_filter_basic_new(encoding, FALSE));
        g_mime_stream_filter_add(GMIME_STREAM_FILTER(decoded.get()), filter.get());
        return readAll(decoded.get());
    }
    case GMIME_CONTENT_ENCODING_DEFAULT:
    case GMIME_CONTENT_ENCODING_7BIT:
    case GMIME_CONTENT_ENCODING_8BIT:
    case GMIME_CONTENT_ENCODING_BINARY:
        break;
    }
    return readAll(encoded);
}

QByteArray rawHeader(GMimeObject *object, const char *name)
{
    GMimeHeader *header = g_mime_header_list_get_header(g_mime_object_get_header_list(object), name);
    return header ? QByteArray(g_mime_header_get_raw_value(header)).left(longestField) : QByteArray();
}
