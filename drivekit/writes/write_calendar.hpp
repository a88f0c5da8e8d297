#pragma once
// The user's calendar for write history: where hours and days begin in their time zone,
// also in zones that are off by half an hour and across summer-time changes.
#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace drivekit {

class WriteCalendar {
  public:
    using Time = std::chrono::system_clock::time_point;

    /// The system's zone (TZ, else /etc/localtime).
    static WriteCalendar local();
    /// A zone by its IANA name ("Europe/Berlin"); an unknown name behaves as UTC.
    static WriteCalendar zone(std::string id);

    /// Nothing when the calendar can't place the time.
    std::optional<Time> startOfHour(Time time) const;
    std::optional<Time> startOfDay(Time time) const;
    /// The same local time `days` days later (earlier when negative).
    std::optional<Time> addingDays(Time time, int days) const;

    const std::string& id() const { return id_; }

  private:
    explicit WriteCalendar(std::string id);
    std::string id_;  // empty: the system's default zone
    // Made once: loading a zone's rules costs far more than the arithmetic on it.
    struct Zone;
    std::shared_ptr<const Zone> zone_;
};

}  // namespace drivekit
