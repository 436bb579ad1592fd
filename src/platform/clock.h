#pragma once
// Local wall-clock time. Record numbers, identity stamps and report times are
// derived from "now", so every caller takes a Clock and tests pass a fixed one.

namespace platform {

struct LocalDateTime {
    int year = 2000;
    int month = 1; // 1..12
    int day = 1;   // 1..31
    int hour = 0;
    int minute = 0;
    int second = 0;
};

class Clock {
public:
    virtual ~Clock() = default;
    virtual LocalDateTime Now() const = 0;
};

// The machine's local time.
class SystemClock final : public Clock {
public:
    LocalDateTime Now() const override;
};

// A clock that always says the same time.
class FixedClock final : public Clock {
public:
    explicit FixedClock(LocalDateTime t) : t_(t) {}
    LocalDateTime Now() const override { return t_; }
    void Set(LocalDateTime t) { t_ = t; }

private:
    LocalDateTime t_;
};

} // namespace platform
