#include "platform/text/HarmlessText.h"

#include <algorithm>

QString harmlessText(QString text)
{
    const auto isHarmful = [](QChar c) {
        switch (c.category()) {
        case QChar::Other_Control:
        case QChar::Other_Format:
        case QChar::Separator_Line:
        case QChar::Separator_Paragraph:
            return true;
        default:
            return false;
        }
    };
    std::replace_if(text.begin(), text.end(), isHarmful, QChar(u' '));
    return text;
}
