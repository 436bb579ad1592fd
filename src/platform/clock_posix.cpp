#include "platform/clock.h"

#include <ctime>

namespace platform {

LocalDateTime SystemClock::Now() const {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    return {tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

} // namespace platform
