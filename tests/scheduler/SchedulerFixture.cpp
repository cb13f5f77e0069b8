#include "SchedulerFixture.h"

#include <QtGlobal>

#include <ctime>

namespace {

class BerlinTime : public ::testing::Environment
{
public:
    void SetUp() override
    {
        qputenv("TZ", "Europe/Berlin");
        ::tzset();
    }
};

const auto *const kBerlin = ::testing::AddGlobalTestEnvironment(new BerlinTime);

} // namespace
