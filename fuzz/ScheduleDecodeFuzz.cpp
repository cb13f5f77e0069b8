// The schedules archive as the engine, or anyone who may write it, leaves it: whatever it holds,
// what was decoded (records and the elements kept undecoded) writes back to the same list.
#include "FuzzSupport.h"

#include "scheduler/ScheduleArchive.h"

#include <cstdlib>

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    initializeFuzzEnvironment();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    using namespace ScheduleArchive;
    const Contents first
        = decode(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (first.state != State::Readable)
        return 0;
    const Contents again = decode(encode(first.records, first.undecodable));
    if (again.state != State::Readable || again.records.size() != first.records.size()
        || again.undecodable.size() != first.undecodable.size())
        std::abort();
    return 0;
}
