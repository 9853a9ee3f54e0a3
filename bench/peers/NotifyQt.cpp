/// Qt's half of bench/notify.cpp.
#include "NotifyQt.h"

namespace BenchNotify {

void QtSubject::set(std::uint32_t value) {
   if (value != value_) {
      value_ = value;
      Q_EMIT changed(value);
   }
}

void QtSlot::onChange(std::uint32_t value) { sum_ += value; }

void qtConnect(QtSubject& subject, QtSlot& slot) {
   QObject::connect(&subject, &QtSubject::changed, &slot, &QtSlot::onChange,
                    ::Qt::DirectConnection);
}

} // namespace BenchNotify
