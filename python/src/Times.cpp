#include "Times.h"

#include <datetime.h>

#include <optional>

#include "Failures.h"
#include "Names.h"
#include "kr/zero/DateTime.h"

namespace kr::zero::python {

namespace {

constexpr int kMinutesOfDay = 24 * 60;

// Python knows microseconds, years 1 to 9999, no leap seconds; a day alone is no datetime.
bool fits(const DateTime& time, std::string_view text) {
  return text.find('T') != text.npos && time.year >= 1 && time.year <= 9999 && time.second < 60 &&
         time.nanosecond % 1000 == 0 &&
         (!time.offsetMinutes ||
          (*time.offsetMinutes > -kMinutesOfDay && *time.offsetMinutes < kMinutesOfDay));
}

// Python's own functions, which it imports when they are first asked for.
const PyDateTime_CAPI& dateTimes() {
  if (PyDateTimeAPI == nullptr) PyDateTime_IMPORT;
  if (PyDateTimeAPI == nullptr) throw py::error_already_set();
  return *PyDateTimeAPI;
}

// A new reference.
py::object zoneOf(const std::optional<std::int16_t>& offset) {
  if (!offset) return py::none();
  if (*offset == 0) return py::reinterpret_borrow<py::object>(dateTimes().TimeZone_UTC);
  constexpr int kSeconds = 60;
  const auto delta = py::reinterpret_steal<py::object>(
      dateTimes().Delta_FromDelta(0, *offset * kSeconds, 0, 1, dateTimes().DeltaType));
  PyObject* const zone = delta ? dateTimes().TimeZone_FromTimeZone(delta.ptr(), nullptr) : nullptr;
  if (zone == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::object>(zone);
}

int part(const py::handle& time, const char* name) { return time.attr(name).cast<int>(); }

std::optional<std::int16_t> offsetOf(const py::handle& time) {
  const py::object offset = time.attr("utcoffset")();
  if (offset.is_none()) return std::nullopt;
  const auto seconds = offset.attr("total_seconds")().cast<double>();
  const int minutes = static_cast<int>(seconds / 60);
  if (minutes * 60 != seconds)
    raise(PyExc_ValueError,
          "an offset from UTC is in whole minutes here, and not " + std::to_string(seconds) + " s");
  return static_cast<std::int16_t>(minutes);
}

std::string textOfDateTime(const py::handle& value) {
  constexpr std::uint8_t kMilliseconds = 3;
  constexpr std::uint8_t kMicroseconds = 6;
  const int microsecond = part(value, "microsecond");
  DateTime time;
  time.year = part(value, "year");
  time.month = static_cast<std::uint8_t>(part(value, "month"));
  time.day = static_cast<std::uint8_t>(part(value, "day"));
  time.hour = static_cast<std::uint8_t>(part(value, "hour"));
  time.minute = static_cast<std::uint8_t>(part(value, "minute"));
  time.second = static_cast<std::uint8_t>(part(value, "second"));
  time.nanosecond = static_cast<std::uint32_t>(microsecond) * 1000;
  if (microsecond != 0) time.fractionDigits = microsecond % 1000 == 0 ? kMilliseconds : kMicroseconds;
  time.offsetMinutes = offsetOf(value);
  return time.toText();
}

}  // namespace

PyObject* makeTime(std::string_view text) {
  const std::optional<DateTime> time = DateTime::parse(text);
  if (!time || !fits(*time, text)) return ourName("DateTimeText")(toStr(text)).release().ptr();
  const py::object zone = zoneOf(time->offsetMinutes);
  return dateTimes().DateTime_FromDateAndTime(time->year, time->month, time->day, time->hour, time->minute,
                                              time->second, static_cast<int>(time->nanosecond / 1000),
                                              zone.ptr(), dateTimes().DateTimeType);
}

std::string timeText(PyObject* value) {
  if (PyUnicode_Check(value)) return std::string(textOf(value));
  if (PyObject_TypeCheck(value, dateTimes().DateTimeType)) return textOfDateTime(value);
  raise(PyExc_TypeError, std::string("a datetime or a str is wanted, not ") + Py_TYPE(value)->tp_name);
}

}  // namespace kr::zero::python
