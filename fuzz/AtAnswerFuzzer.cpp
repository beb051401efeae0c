#include "fuzz/Require.h"
#include "modem/line/AnswerFields.h"
#include "modem/line/FinalResult.h"
#include "modem/line/LineSplitter.h"
#include "modem/line/ModemLimits.h"
#include "modem/line/RestartAnnouncement.h"

namespace
{

/// The lines and prompts of what a modem said, cut into two chunks.
QByteArrayList linesOf(QByteArrayView said, qsizetype cut)
{
    LineSplitter splitter;
    QByteArrayList lines;
    for (const QByteArrayView chunk : {said.first(cut), said.sliced(cut)}) {
        splitter.feed(chunk);
        while (const std::optional<QByteArray> line = splitter.takeLine())
            lines.append(*line);
    }
    return lines;
}

} // namespace

/// The first octet cuts what the modem says, the rest, into two chunks: where does not matter.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    if (size == 0)
        return 0;
    const QByteArrayView said = octetsOf(data + 1, size - 1);
    const QByteArrayList lines = linesOf(said, qMin<qsizetype>(data[0], said.size()));
    require(lines == linesOf(said, said.size()));
    for (const QByteArray &line : lines) {
        require(!line.isEmpty() && line.size() <= ModemBounds::lineOctets);
        require(!line.contains('\r') && !line.contains('\n'));
        const std::optional<FinalResult> result = finalResult(line);
        if (result)
            require(finalResult(describe(*result)).has_value() || result->code == FinalResult::unknownCode);
        static_cast<void>(announcesRestart(line));
        const QList<AnswerField> fields = answerFields(line);
        require(!fields.isEmpty());
        for (const AnswerField &field : fields) {
            require(field.number().value_or(0) >= 0);
            for (const int number : listedNumbers(field.text))
                require(number >= 0 && number <= 31);
        }
    }
    return 0;
}
