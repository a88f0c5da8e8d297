#include "drivekit/writes/write_calendar.hpp"

#include <unicode/gregocal.h>
#include <unicode/timezone.h>

#include <memory>

#include "drivekit/core/icu_data.hpp"

namespace drivekit {

struct WriteCalendar::Zone {
    std::unique_ptr<icu::TimeZone> zone;
};

WriteCalendar::WriteCalendar(std::string id) : id_(std::move(id)) {
    ICUData::ensure();
    auto zone = std::make_shared<Zone>();
    zone->zone.reset(id_.empty() ? icu::TimeZone::createDefault()
                                 : icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(id_)));
    zone_ = std::move(zone);
}

namespace {

std::unique_ptr<icu::Calendar> calendarAt(const icu::TimeZone* zone, WriteCalendar::Time time) {
    if (zone == nullptr) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    auto calendar = std::make_unique<icu::GregorianCalendar>(*zone, status);
    if (U_FAILURE(status)) return nullptr;
    const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    calendar->setTime(static_cast<UDate>(ms), status);
    if (U_FAILURE(status)) return nullptr;
    return calendar;
}

std::optional<WriteCalendar::Time> timeOf(icu::Calendar& calendar) {
    UErrorCode status = U_ZERO_ERROR;
    const UDate ms = calendar.getTime(status);
    if (U_FAILURE(status)) return std::nullopt;
    return WriteCalendar::Time(std::chrono::milliseconds(static_cast<std::int64_t>(ms)));
}

}  // namespace

WriteCalendar WriteCalendar::local() { return WriteCalendar(std::string()); }

WriteCalendar WriteCalendar::zone(std::string id) { return WriteCalendar(id.empty() ? "UTC" : std::move(id)); }

std::optional<WriteCalendar::Time> WriteCalendar::startOfHour(Time time) const {
    const auto calendar = calendarAt(zone_->zone.get(), time);
    if (!calendar) return std::nullopt;
    // Sub-millisecond parts are cut by ICU's millisecond dates; hours are whole in every zone.
    calendar->set(UCAL_MINUTE, 0);
    calendar->set(UCAL_SECOND, 0);
    calendar->set(UCAL_MILLISECOND, 0);
    return timeOf(*calendar);
}

std::optional<WriteCalendar::Time> WriteCalendar::startOfDay(Time time) const {
    const auto calendar = calendarAt(zone_->zone.get(), time);
    if (!calendar) return std::nullopt;
    calendar->set(UCAL_HOUR_OF_DAY, 0);
    calendar->set(UCAL_MINUTE, 0);
    calendar->set(UCAL_SECOND, 0);
    calendar->set(UCAL_MILLISECOND, 0);
    return timeOf(*calendar);
}

std::optional<WriteCalendar::Time> WriteCalendar::addingDays(Time time, int days) const {
    const auto calendar = calendarAt(zone_->zone.get(), time);
    if (!calendar) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    calendar->add(UCAL_DATE, days, status);
    if (U_FAILURE(status)) return std::nullopt;
    return timeOf(*calendar);
}

}  // namespace drivekit
