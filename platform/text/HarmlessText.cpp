#include "platform/text/HarmlessText.h"

#include <algorithm>

QString harmlessText(QString text)
{
    const auto isHarmful = [](QChar c) {
        if (c == QChar(0xfdd0) || c == QChar(0xfdd1)) // frame marks to a text document
            return true;
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
