#include "fuzz/Require.h"
#include "mime/MimeMessage.h"
#include "pop3/Pop3Listing.h"

#include <cstdio>
#include <ctime>

namespace
{

/// What is repeated stands behind one of these. They are parted by "|".
const QByteArrayList places =
    QByteArray(
        "Subject: |To: |From: |Date: |Content-Type: |Content-Type: text/plain; name=|"
        "Content-Type: multipart/mixed; boundary=b\n\n--b\n|Content-Disposition: attachment; filename=|"
        "Content-Transfer-Encoding: base64\n\n|Content-Transfer-Encoding: quoted-printable\n\n|"
        "Content-Transfer-Encoding: x-uuencode\n\n|Content-Type: text/plain; charset=big5\n\n|"
        "Content-Type: text/html; charset=iso-2022-jp\n\n||\n")
        .split('|');

const QByteArrayList tokens =
    QByteArray(
        "|,|;|:|<|>|(|)|\"|\\|a|@| |\r\n |\r\n|\n|=?|?=|=?a?B?|=?a?X?|=?gbk?B?1cU=?=|=?utf-8?Q?=E4?=|a@b|"
        "*0*=|name=|filename*1=|%E4|'|=|--b\n|--b--\n|--c\nContent-Type: multipart/mixed; boundary=b\n\n|"
        "Content-Type: a/b\n|begin 644 a\n|end\n|#0V%T\n|=ybegin name=a\n|=yend\n|\x1b$B|\xff|\xc4\xe3|"
        "~{|From: a\n|x-y: z\n|1|Jan |+|/|AAAA|<meta |charset=")
        .split('|');

} // namespace

/// Place, two tokens, size, and a word of the fuzzer's own: repeated up to a megabyte they may cost no more
/// than so much a kilobyte. Whatever takes quadratic time takes minutes here.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    constexpr double mostSecondsPerKilobyte = 0.002; // ten times what the dearest linear input takes
    constexpr double start = 0.1;                    // charset converters are loaded once
    if (size < 4 || size > 24)
        return 0;
    const auto chosen = [](const QByteArrayList &list, uint8_t octet) { return list[octet % list.size()]; };
    const QByteArray unit =
        chosen(tokens, data[1]) + chosen(tokens, data[2]) + octetsOf(data + 4, size - 4).toByteArray();
    if (unit.isEmpty())
        return 0;
    const qsizetype wanted = (1 + data[3] % 16) * qsizetype(65'536);
    const QByteArray octets = chosen(places, data[0]) + unit.repeated(wanted / unit.size());
    const std::clock_t before = std::clock();
    const MimeMessage message(octets);
    for (const MimeAttachment &attachment : message.Attachments())
        static_cast<void>(attachment.BinaryData());
    static_cast<void>(parseUidl(octets, 1000));
    static_cast<void>(parseList(octets, 1000));
    const double taken = static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC;
    const double most = start + mostSecondsPerKilobyte * static_cast<double>(octets.size()) / 1024;
    if (taken > most)
        std::fprintf(stderr, "%.2f s for %lld octets\n", taken, static_cast<long long>(octets.size()));
    require(taken <= most);
    return 0;
}
