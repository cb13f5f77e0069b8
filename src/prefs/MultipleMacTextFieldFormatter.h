#pragma once

#include <QValidator>

// The folder-name field's formatter: any characters, at most 50 of them. A longer text (a 51st
// character typed, or a paste that would go past 50) is refused as a whole; the name is cleaned
// of unwanted characters when it is taken (GeneralViewController::getRemoteFolderName).
class MultipleMacTextFieldFormatter : public QValidator {
public:
    static constexpr qsizetype kMaximumLength = 50;

    using QValidator::QValidator;

    static bool isPartialStringValid(const QString &partialString)
    {
        return partialString.size() <= kMaximumLength;
    }

    State validate(QString &input, int &) const override
    {
        return isPartialStringValid(input) ? Acceptable : Invalid;
    }
};
