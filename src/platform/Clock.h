#pragma once

#include <QDateTime>

// Every reading of the current time goes through a Clock, so that tests can fix it.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;

    static const Clock &system();
};
