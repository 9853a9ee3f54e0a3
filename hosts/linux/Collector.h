/// Follows the kernel's tables: reads them all at the start, hears of every change from then on,
/// and reads again what the kernel does not tell of or had to drop.
///
/// Owned by the program; lives on the activity loop's thread and never blocks it. The model must
/// live longer.
///
/// While a table is read, changes wait in their socket: a change that is applied in the middle of
/// an older picture could be undone by the rest of it. A change that is applied after a newer
/// picture is repeated by the changes behind it, so that the last word is always the kernel's. When
/// the kernel had to drop changes this no longer holds, so the waiting ones are thrown away with
/// their socket and everything is read again.
#pragma once

#include <hosts/linux/HostModel.h>
#include <hosts/linux/KernelSocket.h>
#include <hosts/linux/Tables.h>

#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Counters.h>

#include <memory>
#include <vector>

namespace Linux {

class Collector {
 public:
   /// Starts to read at once; counters are sampled every `sampleSeconds`. Throws what `sockets`
   /// throws.
   Collector(HostModel& model, KernelSocketSource sockets, double sampleSeconds);
   ~Collector();
   Collector(Collector const&) = delete;
   Collector& operator=(Collector const&) = delete;

   /// Every table has been read once, as far as the kernel let it be read.
   bool isComplete() const { return unread_.empty(); }

 private:
   class Reader;
   class Sampler;

   void openChanges();
   void openRequests();
   void handleChanges();
   void changesLost();
   void handleAnswers();
   void handleSample();
   void readAgain(TableSet tables);
   void nextDump();
   void dumpEnded(bool interrupted, int error);
   void answersLost(int error);

   HostModel& model_;
   KernelSocketSource const sockets_;
   double const sampleSeconds_;
   std::vector<std::byte> buffer_;

   std::unique_ptr<KernelSocket> changes_;
   std::unique_ptr<KernelSocket> requests_;
   Fen::Ptr<Fen::FileDescriptor> watchedChanges_;
   Fen::Ptr<Fen::FileDescriptor> watchedRequests_;
   Fen::Ptr<Reader> changesReader_;
   Fen::Ptr<Reader> requestsReader_;
   Fen::Ptr<Sampler> sampler_;

   /// What is to be read, and what is being read now.
   TableSet wanted_;
   bool reading_ = false;
   Table table_ = Table::links;
   std::uint32_t sequence_ = 0;
   bool interrupted_ = false;
   unsigned interruptions_ = 0;
   /// Tables to be read at the next sample.
   TableSet later_;
   /// Tables that have never been read.
   TableSet unread_ = stateTables;
   /// Something has come since the last sample for what is being read.
   bool answered_ = false;
   /// Changes were dropped and no new socket could be had yet.
   bool changesLost_ = false;
   /// The kernel counts in messages of their own; an old one does so only with the links.
   Table counters_ = Table::statistics;

   Fen::Counter& overruns_;
   Fen::Counter& dumps_;
   Fen::Counter& malformed_;
};

} // namespace Linux
