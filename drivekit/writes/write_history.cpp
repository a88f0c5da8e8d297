#include "drivekit/writes/write_history.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "drivekit/core/json.hpp"

namespace drivekit {

namespace {

using Seconds = std::chrono::duration<double>;

std::uint64_t sum(std::uint64_t a, std::uint64_t b) {
    std::uint64_t total = 0;
    if (__builtin_add_overflow(a, b, &total)) std::abort();
    return total;
}

void addInto(WriteBucket& bucket, const std::string& key, std::uint64_t bytes) {
    auto& held = bucket.bytes[key];
    held = sum(held, bytes);
}

void sortByStart(std::vector<WriteBucket>& buckets) {
    std::stable_sort(buckets.begin(), buckets.end(),
                     [](const WriteBucket& a, const WriteBucket& b) { return a.start < b.start; });
}

void addOwners(std::map<WriteOwner, std::uint64_t>& totals, const WriteBucket& bucket) {
    for (const auto& [key, bytes] : bucket.bytes) {
        if (const auto owner = WriteOwner::fromKey(key)) {
            auto& held = totals[*owner];
            held = sum(held, bytes);
        }
    }
}

}  // namespace

WriteTime WriteHistory::slotStart(WriteTime time, const WriteCalendar& calendar) {
    const auto hour = calendar.startOfHour(time);
    if (!hour) return time;
    const double into = Seconds(time - *hour).count();
    const double steps = std::floor(into / kSlotSeconds);
    return *hour + std::chrono::duration_cast<WriteTime::duration>(Seconds(steps * kSlotSeconds));
}

void WriteHistory::add(const WriteInterval& interval, const WriteCalendar& calendar) {
    std::uint64_t total = 0;
    for (const auto& [owner, bytes] : interval.byOwner) total = sum(total, bytes);
    if (total == 0) return;
    const WriteTime start = slotStart(interval.end, calendar);
    // Intervals arrive in time order, so the slot is nearly always the newest.
    auto found = std::find_if(slots.rbegin(), slots.rend(), [&](const WriteBucket& b) { return b.start == start; });
    WriteBucket* bucket = nullptr;
    if (found != slots.rend()) {
        bucket = &*found;
    } else {
        const auto later = std::find_if(slots.begin(), slots.end(), [&](const WriteBucket& b) { return b.start > start; });
        bucket = &*slots.insert(later, WriteBucket{start, {}});
    }
    for (const auto& [owner, bytes] : interval.byOwner) {
        if (bytes > 0) addInto(*bucket, owner.key(), bytes);
    }
}

bool WriteHistory::compact(WriteTime now, const WriteCalendar& calendar, int daysToKeep) {
    const auto today = calendar.startOfDay(now);
    const auto limitDay = today ? calendar.addingDays(*today, -daysToKeep) : std::nullopt;
    const WriteTime limit = limitDay ? *limitDay : WriteTime::min();
    bool changed = false;
    std::vector<WriteBucket> kept;
    for (auto& slot : slots) {
        if (Seconds(now - slot.start).count() < kSlotsKeptSeconds) {
            kept.push_back(std::move(slot));
            continue;
        }
        changed = true;
        const WriteTime day = calendar.startOfDay(slot.start).value_or(slot.start);
        auto bucket = std::find_if(days.begin(), days.end(), [&](const WriteBucket& b) { return b.start == day; });
        if (bucket == days.end()) bucket = days.insert(days.end(), WriteBucket{day, {}});
        for (const auto& [key, bytes] : slot.bytes) addInto(*bucket, key, bytes);
    }
    slots = std::move(kept);
    const auto before = days.size();
    std::erase_if(days, [&](const WriteBucket& b) { return b.start < limit; });
    changed = changed || days.size() != before;
    sortByStart(days);
    return changed;
}

std::map<WriteOwner, std::uint64_t> WriteHistory::totals(WriteTime since) const {
    std::map<WriteOwner, std::uint64_t> result;
    for (const auto& slot : slots) {
        if (slot.start >= since) addOwners(result, slot);
    }
    return result;
}

std::map<WriteOwner, std::uint64_t> WriteHistory::totalsWithDays(WriteTime since, const WriteCalendar& calendar) const {
    auto result = totals(since);
    const WriteTime firstDay = calendar.startOfDay(since).value_or(since);
    for (const auto& day : days) {
        if (day.start >= firstDay) addOwners(result, day);
    }
    return result;
}

void WriteHistory::sort() {
    sortByStart(slots);
    sortByStart(days);
}

namespace WriteBucketsFile {

namespace {

std::int64_t roundedSeconds(WriteTime time) {
    const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
    // To nearest, halves away from zero.
    return micros >= 0 ? (micros + 500'000) / 1'000'000 : -((-micros + 500'000) / 1'000'000);
}

}  // namespace

std::string encode(const std::vector<WriteBucket>& buckets) {
    json::Object owners = json::Object::array();
    json::Object stored = json::Object::array();
    std::map<std::string, std::uint64_t> index;
    for (const auto& bucket : buckets) {
        json::Object pairs = json::Object::array();
        // std::map iterates its keys in sorted order.
        for (const auto& [key, bytes] : bucket.bytes) {
            auto [at, fresh] = index.try_emplace(key, index.size());
            if (fresh) owners.push_back(key);
            pairs.push_back(at->second);
            pairs.push_back(bytes);
        }
        json::Object record;
        record["t"] = roundedSeconds(bucket.start);
        record["b"] = std::move(pairs);
        stored.push_back(std::move(record));
    }
    json::Object file;
    file["v"] = 1;
    file["owners"] = std::move(owners);
    file["buckets"] = std::move(stored);
    return json::dump(file, json::Layout::compact);
}

Result<std::vector<WriteBucket>, Problem> decode(std::string_view bytes) {
    const Unexpected<Problem> damaged(Problem{Problem::Kind::damaged, 0});
    const auto file = json::parse(bytes);
    if (!file || !file->is_object()) return damaged;
    // The version first: a newer program may have changed everything else.
    const auto v = file->find("v");
    if (v == file->end() || !v->is_number_integer()) return damaged;
    if (const auto version = v->get<std::int64_t>(); version >= 2) {
        return Unexpected(Problem{Problem::Kind::newerVersion, version});
    }
    const auto owners = file->find("owners");
    const auto buckets = file->find("buckets");
    if (owners == file->end() || buckets == file->end() || !owners->is_array() || !buckets->is_array()) {
        return damaged;
    }
    std::vector<std::string> keys;
    for (const auto& owner : *owners) {
        if (!owner.is_string()) return damaged;
        keys.push_back(owner.get<std::string>());
    }
    std::vector<WriteBucket> result;
    for (const auto& stored : *buckets) {
        if (!stored.is_object()) return damaged;
        const auto t = stored.find("t");
        const auto b = stored.find("b");
        if (t == stored.end() || b == stored.end() || !t->is_number_integer() || !b->is_array() || b->size() % 2 != 0) {
            return damaged;
        }
        const auto seconds = t->get<std::int64_t>();
        // Beyond about 270 years either side of 1970 a time point counted in nanoseconds
        // overflows; no clock gives such a date.
        constexpr std::int64_t farthest = std::int64_t{1} << 33;
        if (seconds < -farthest || seconds > farthest) return damaged;
        WriteBucket bucket{WriteTime(std::chrono::seconds(seconds)), {}};
        for (std::size_t i = 0; i < b->size(); i += 2) {
            const auto& at = (*b)[i];
            const auto& value = (*b)[i + 1];
            if (!at.is_number_unsigned() || !value.is_number_unsigned()) return damaged;
            const auto ownerIndex = at.get<std::uint64_t>();
            if (ownerIndex >= keys.size()) return damaged;
            addInto(bucket, keys[ownerIndex], value.get<std::uint64_t>());
        }
        result.push_back(std::move(bucket));
    }
    return result;
}

}  // namespace WriteBucketsFile

}  // namespace drivekit
