// The collector's turns: changes, answers, samples, and which table is read next.

#include <hosts/linux/Collector.h>
#include <hosts/linux/KernelMessage.h>

#include <gantry/runtime/fen/Trace.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace Linux {

namespace {

Fen::TraceHandle trace("Linux", false);

/// One buffer holds what the kernel sends at once; a turn takes so many of them.
constexpr std::size_t bufferBytes = 64 << 10;
constexpr int buffersPerTurn = 8;
/// A table that changes faster than it can be read is left for the next sample after so many
/// attempts, so that changes are not held up for ever.
constexpr unsigned mostAttempts = 4;

} // namespace

class Collector::Reader : public Fen::FileDescriptor::Notifiee {
 public:
   Reader(Fen::Ptr<Fen::FileDescriptor> const& watched, Collector* collector,
          void (Collector::*handler)())
      : Notifiee(watched), collector_(collector), handler_(handler) {
      isRegisteredNotifieeIs(true);
   }

   void onReadable() override {
      if (collector_ != nullptr) {
         (collector_->*handler_)();
      }
   }
   void collectorDel() { collector_ = nullptr; }

 private:
   Collector* collector_;
   void (Collector::*handler_)();
};

class Collector::Sampler : public Fen::Clock::Notifiee {
 public:
   explicit Sampler(Collector* collector)
      : Notifiee(Fen::ActivityLoop::instance().clock()), collector_(collector) {
      isRegisteredNotifieeIs(true);
   }

   void onTime() override {
      if (collector_ != nullptr) {
         collector_->handleSample();
      }
   }
   void collectorDel() { collector_ = nullptr; }

 private:
   Collector* collector_;
};

Collector::Collector(HostModel& model, KernelSocketSource sockets, double sampleSeconds)
   : model_(model), sockets_(std::move(sockets)), sampleSeconds_(sampleSeconds),
     buffer_(bufferBytes), overruns_(Fen::Counters::counter("linux.overruns")),
     dumps_(Fen::Counters::counter("linux.dumps")),
     malformed_(Fen::Counters::counter("linux.malformed")) {
   openChanges();
   openRequests();
   sampler_ = Fen::makePtr<Sampler>(this);
   sampler_->timeMinIs(Fen::now() + sampleSeconds_);
   model_.hostSample();
   readAgain(stateTables);
}

Collector::~Collector() {
   sampler_->collectorDel();
   changesReader_->collectorDel();
   requestsReader_->collectorDel();
   watchedChanges_->readableWantedIs(false);
   watchedRequests_->readableWantedIs(false);
}

/// A fresh socket for changes, which hears of everything from now on and of nothing before.
void Collector::openChanges() {
   std::unique_ptr<KernelSocket> fresh = sockets_(true);
   if (changesReader_) {
      // The old descriptor leaves the loop before it is closed.
      changesReader_->collectorDel();
      watchedChanges_->readableWantedIs(false);
   }
   changes_ = std::move(fresh);
   watchedChanges_ = Fen::makePtr<Fen::FileDescriptor>(changes_->descriptor());
   changesReader_ = Fen::makePtr<Reader>(watchedChanges_, this, &Collector::handleChanges);
   watchedChanges_->readableWantedIs(!reading_);
}

void Collector::openRequests() {
   std::unique_ptr<KernelSocket> fresh = sockets_(false);
   if (requestsReader_) {
      requestsReader_->collectorDel();
      watchedRequests_->readableWantedIs(false);
   }
   requests_ = std::move(fresh);
   watchedRequests_ = Fen::makePtr<Fen::FileDescriptor>(requests_->descriptor());
   requestsReader_ = Fen::makePtr<Reader>(watchedRequests_, this, &Collector::handleAnswers);
   watchedRequests_->readableWantedIs(true);
}

void Collector::handleChanges() {
   for (int i = 0; i < buffersPerTurn; ++i) {
      std::ptrdiff_t const size = changes_->receive(buffer_);
      if (size == 0) {
         break;
      }
      if (size < 0) {
         FEN_TRACE(trace, 1,
                   "Collector::handleChanges: the kernel dropped changes: "
                      << std::strerror(static_cast<int>(-size)));
         changesLost();
         return;
      }
      BufferSummary const summary =
         readBuffer({buffer_.data(), static_cast<std::size_t>(size)}, 0, model_);
      malformed_.increment(summary.malformed);
   }
   TableSet const again = model_.againDel();
   // Whether the kernel has removed routes by the time at which it tells of the cause is not
   // certain, so they are looked at once more a little later.
   if (again.has(Table::routes)) {
      later_.add(Table::routes);
   }
   readAgain(again);
}

void Collector::changesLost() {
   overruns_.increment();
   try {
      openChanges();
      changesLost_ = false;
   } catch (std::system_error const& error) {
      FEN_TRACE(trace, 1, "Collector::changesLost: " << error.what());
      changesLost_ = true;
   }
   readAgain(stateTables);
}

void Collector::handleAnswers() {
   answered_ = true;
   for (int i = 0; i < buffersPerTurn; ++i) {
      std::ptrdiff_t const size = requests_->receive(buffer_);
      if (size == 0) {
         return;
      }
      if (size < 0) {
         answersLost(static_cast<int>(-size));
         return;
      }
      BufferSummary const summary =
         readBuffer({buffer_.data(), static_cast<std::size_t>(size)}, sequence_, model_);
      malformed_.increment(summary.malformed);
      interrupted_ |= summary.dumpInterrupted;
      if (reading_ && (summary.dumpEnded || summary.error != 0)) {
         dumpEnded(interrupted_, summary.error);
      }
   }
}

/// The answer itself was lost. What was being read is read once more through another socket: the
/// kernel refuses a second request where it has not finished with the first.
void Collector::answersLost(int error) {
   FEN_TRACE(trace, 1, "Collector::answersLost: " << std::strerror(error));
   overruns_.increment();
   try {
      openRequests();
      error = 0;
   } catch (std::system_error const& failure) {
      FEN_TRACE(trace, 1, "Collector::answersLost: " << failure.what());
   }
   if (reading_) {
      dumpEnded(true, error);
   }
}

void Collector::readAgain(TableSet tables) {
   wanted_.add(tables);
   if (!reading_) {
      nextDump();
   }
}

void Collector::nextDump() {
   reading_ = false;
   for (Table const table :
        {Table::links, Table::addresses, Table::routes, Table::neighbours, Table::statistics}) {
      if (!wanted_.has(table)) {
         continue;
      }
      wanted_.del(table);
      interrupted_ = false;
      answered_ = true;
      // 0 would mean any answer.
      sequence_ = sequence_ == ~0u ? 1 : sequence_ + 1;
      table_ = table;
      dumps_.increment();
      model_.dumpBegin(table);
      int const error = requests_->request(table, sequence_);
      if (error == 0) {
         reading_ = true;
         break;
      }
      FEN_TRACE(trace, 1, "Collector::nextDump: " << std::strerror(-error));
      model_.dumpEnd(table, false);
      later_.add(table);
      unread_.del(table);
   }
   watchedChanges_->readableWantedIs(!reading_);
}

void Collector::dumpEnded(bool interrupted, int error) {
   model_.dumpEnd(table_, !interrupted && error == 0);
   if (error != 0 && table_ == Table::statistics) {
      // A kernel without that request counts in its links.
      counters_ = Table::links;
   } else if (interrupted || error != 0) {
      FEN_TRACE(trace, 5,
                "Collector::dumpEnded: table " << static_cast<int>(table_) << " again, error "
                                               << error);
      bool const atOnce = ++interruptions_ < mostAttempts && error == 0;
      (atOnce ? wanted_ : later_).add(table_);
      if (!atOnce) {
         unread_.del(table_);
      }
   } else {
      interruptions_ = 0;
      unread_.del(table_);
   }
   wanted_.add(model_.againDel());
   nextDump();
}

void Collector::handleSample() {
   sampler_->timeMinIs(Fen::now() + sampleSeconds_);
   interruptions_ = 0;
   model_.hostSample();
   if (changesLost_) {
      changesLost();
   }
   // An answer that has stopped coming would hold up changes for ever.
   if (reading_ && !std::exchange(answered_, false)) {
      answersLost(ETIMEDOUT);
   }
   readAgain(std::exchange(later_, TableSet()) | counters_);
}

} // namespace Linux
