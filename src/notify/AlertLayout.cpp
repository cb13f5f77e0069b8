#include "AlertLayout.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace AlertLayout {

int calculateTotalLinesFromText(const QString &text)
{
    if (text.isEmpty())
        return 0;
    int lines = 0;
    for (const QString &piece : text.split(u'\n')) {
        const qsizetype length = piece.size();
        lines += length == 0 ? 1 : int((length + kCharactersPerLine - 1) / kCharactersPerLine);
    }
    return lines;
}

int growthForExtraLines(int extraLines)
{
    return extraLines > 0 ? extraLines * kPointsPerLine : 0;
}

int buttonShiftForExtraLines(int extraLines)
{
    return int(growthForExtraLines(extraLines) * kButtonFactor);
}

QString defaultImageName(bool corvane)
{
    return corvane ? u"Corvane_Portable.icns"_s : u"Stelloa_Portable.icns"_s;
}

} // namespace AlertLayout
