// From counters, the loop and the connections to metrics.

#include <hosts/control/Metrics.h>

#include <gantry/common/MountState.h>
#include <gantry/runtime/cairn/PeerUse.h>
#include <gantry/runtime/fen/ActivityLoop.h>
#include <gantry/runtime/fen/Counters.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <tuple>

namespace Host {

namespace {

/// So many peers are listed one by one, those that hold the most; the rest are one.
constexpr std::size_t mostPeers = 100;
constexpr double nanosecond = 1e-9;

/// Where the samples of a metric come from.
struct Source {
   char const* metric;
   /// A counter, or with a dot at its end all that begin so and end in a reason.
   char const* counter;
   /// What the sample says beside the reason; null for nothing.
   char const* label = nullptr;
   char const* word = nullptr;
   /// The reason of a counter that has none in its name.
   char const* reason = nullptr;
};

struct Family {
   char const* name;
   char const* help;
   /// Only in processes that have this counter; null for all.
   char const* onlyWith = nullptr;
};

constexpr Family families[] = {
   {"gantry_messages_received_total", "Messages that peers have sent."},
   {"gantry_messages_sent_total", "Messages that were sent to peers."},
   {"gantry_received_bytes_total", "Bytes that peers have sent."},
   {"gantry_sent_bytes_total", "Bytes that were sent to peers."},
   {"gantry_resyncs_total", "Mounts whose copy was brought up to date, and collections that were "
                            "sent whole again."},
   {"gantry_refusals_total", "What was refused, and why."},
   {"gantry_connections_attempted_total", "Attempts to connect to a peer."},
   {"gantry_connections_accepted_total", "Connections that peers have made."},
   {"gantry_connections_closed_total", "Connections that have ended, and why."},
   {"gantry_accept_pauses_total", "Times that no more connections could be taken for want of "
                                  "descriptors or memory."},
   {"gantry_oversized_messages_total", "Values that were not sent because they do not fit into a "
                                       "message."},
   {"gantry_late_messages_total", "Messages about entities that had gone meanwhile."},
   {"gantry_refused_local_writes_total", "Writes of this process to copies that it may not write."},
   {"gantry_unknown_enumerators_total", "Enumeration numbers from peers that this process does "
                                        "not know."},
   {"gantry_exceptions_total", "Exceptions that nobody handled."},
   {"gantry_kernel_overruns_total", "Times that the kernel dropped changes before they were read.",
    "linux.dumps"},
   {"gantry_kernel_dumps_total", "Tables that were read whole from the kernel.", "linux.dumps"},
   {"gantry_kernel_malformed_messages_total", "Messages of the kernel that could not be read.",
    "linux.dumps"},
   {"gantry_kernel_unknown_interfaces_total",
    "Messages of the kernel about interfaces that are "
    "not known.",
    "linux.dumps"},
};

/// Every reason is a word of the code that counts it, never one that a peer has sent. So there is a
/// bounded number of samples.
constexpr Source sources[] = {
   {"gantry_messages_received_total", "cairn.frames_received"},
   {"gantry_messages_sent_total", "cairn.frames_sent"},
   {"gantry_received_bytes_total", "cairn.bytes_received"},
   {"gantry_sent_bytes_total", "cairn.bytes_sent"},
   {"gantry_resyncs_total", "cairn.resyncs", "of", "mount"},
   {"gantry_resyncs_total", "wire.resyncs", "of", "collection"},
   {"gantry_refusals_total", "wire.refused.", "subject", "message"},
   {"gantry_refusals_total", "cairn.mounts_refused.", "subject", "mount"},
   {"gantry_refusals_total", "cairn.mounts_withdrawn", "subject", "mount", "withdrawn"},
   {"gantry_refusals_total", "cairn.refused_by_peers.", "subject", "own_mount"},
   {"gantry_refusals_total", "access.refused.", "subject", "access"},
   {"gantry_refusals_total", "controller.refused.", "subject", "switch"},
   {"gantry_connections_attempted_total", "cairn.connects"},
   {"gantry_connections_accepted_total", "cairn.accepted"},
   {"gantry_connections_closed_total", "cairn.closed."},
   {"gantry_accept_pauses_total", "cairn.accept_exhausted"},
   {"gantry_oversized_messages_total", "wire.oversized_messages"},
   {"gantry_late_messages_total", "wire.messages_to_gone_entities"},
   {"gantry_refused_local_writes_total", "wire.refused_local_writes"},
   {"gantry_unknown_enumerators_total", "wire.unknown_enums"},
   {"gantry_exceptions_total", "notification.unhandled_exceptions", "from", "reactor"},
   {"gantry_exceptions_total", "notification.exceptions_from_exception_handlers", "from",
    "exception_handler"},
   {"gantry_exceptions_total", "loop.exceptions_from_turn_end_work", "from", "turn_end"},
   {"gantry_kernel_overruns_total", "linux.overruns"},
   {"gantry_kernel_dumps_total", "linux.dumps"},
   {"gantry_kernel_malformed_messages_total", "linux.malformed"},
   {"gantry_kernel_unknown_interfaces_total", "linux.unknownInterface"},
};

bool isPrefix(std::string_view counter) { return counter.ends_with('.'); }

/// An enumerator's name as a word of its own kind: mountStatusNoSuchPath is no_such_path.
std::string reasonWord(std::string_view name) {
   constexpr std::string_view enumeration = "mountStatus";
   if (name.starts_with(enumeration)) {
      name.remove_prefix(enumeration.size());
   }
   std::string word;
   for (char const c : name) {
      bool const isUpper = std::isupper(static_cast<unsigned char>(c)) != 0;
      word += isUpper && !word.empty() ? "_" : "";
      word += isUpper ? static_cast<char>(std::tolower(static_cast<unsigned char>(c))) : c;
   }
   return word;
}

Metrics::Labels labelsOf(Source const& source, std::string_view reason) {
   Metrics::Labels labels;
   if (source.label != nullptr) {
      labels.emplace_back(source.label, source.word);
   }
   if (source.reason != nullptr || !reason.empty()) {
      labels.emplace_back("reason", source.reason != nullptr ? source.reason : reasonWord(reason));
   }
   return labels;
}

using Values = std::map<std::string, std::uint64_t, std::less<>>;

void samplesOf(Metrics& metrics, Source const& source, Values const& values) {
   std::string_view const name = source.counter;
   if (!isPrefix(name)) {
      auto const found = values.find(name);
      metrics.sample(found != values.end() ? found->second : 0, labelsOf(source, ""));
      return;
   }
   for (auto at = values.lower_bound(name); at != values.end() && at->first.starts_with(name);
        ++at) {
      metrics.sample(at->second, labelsOf(source, std::string_view(at->first).substr(name.size())));
   }
}

void countedMetrics(Metrics& metrics) {
   Values values;
   Fen::Counters::forEach(
      [&values](std::string_view name, std::uint64_t value) { values.emplace(name, value); });
   for (Family const& family : families) {
      if (family.onlyWith != nullptr && !values.contains(std::string_view(family.onlyWith))) {
         continue;
      }
      metrics.metric(family.name, Metrics::Kind::counter, family.help);
      for (Source const& source : sources) {
         if (std::string_view(source.metric) == family.name) {
            samplesOf(metrics, source, values);
         }
      }
   }
}

void loopMetrics(Metrics& metrics) {
   Fen::ActivityLoop const& loop = Fen::ActivityLoop::instance();
   Fen::Histogram const& turns = loop.turnTimes();
   std::vector<std::pair<double, double>> quantiles;
   for (double const part : {0.5, 0.99, 1.0}) {
      quantiles.emplace_back(part, static_cast<double>(turns.quantile(part)) * nanosecond);
   }
   metrics.summary("gantry_loop_turn_seconds",
                   "How long turns of the activity loop took; the quantile 1 is the longest.",
                   turns.count(), static_cast<double>(turns.sum()) * nanosecond, quantiles);
   metrics.metric("gantry_loop_queue_depth", Metrics::Kind::gauge,
                  "Events and work that waited when the last turn began.");
   metrics.sample(loop.queueDepth());
   metrics.metric("gantry_loop_queue_depth_max", Metrics::Kind::gauge,
                  "The most events and work that ever waited when a turn began.");
   metrics.sample(loop.largestQueueDepth());
}

/// What the connections of one peer hold together.
struct PeerSum {
   std::string name;
   std::string address;
   bool isServed = false;
   std::size_t connections = 0;
   std::size_t queuedBytes = 0;
   std::size_t memoryBytes = 0;
   std::size_t mounts = 0;
   std::size_t entities = 0;

   void add(Cairn::PeerUse const& use) {
      ++connections;
      queuedBytes += use.queuedBytes;
      memoryBytes += use.memoryBytes;
      mounts += use.mounts;
      entities += use.entities;
   }
   void add(PeerSum const& other) {
      connections += other.connections;
      queuedBytes += other.queuedBytes;
      memoryBytes += other.memoryBytes;
      mounts += other.mounts;
      entities += other.entities;
   }
};

char const* roleOf(bool isServed) { return isServed ? "client" : "server"; }

std::vector<PeerSum> peersOf(std::vector<Cairn::PeerUse> const& uses) {
   std::map<std::tuple<std::string, std::string, bool>, PeerSum> sums;
   for (Cairn::PeerUse const& use : uses) {
      std::string address(use.address.view());
      if (use.isServed) {
         // Who calls does so from another port each time.
         address.resize(std::min(address.rfind(':'), address.size()));
      }
      std::string const name = use.name.empty() ? address : std::string(use.name.view());
      PeerSum& sum = sums[{name, address, use.isServed}];
      sum.name = name;
      sum.address = address;
      sum.isServed = use.isServed;
      sum.add(use);
   }
   std::vector<PeerSum> all;
   for (auto& [key, sum] : sums) {
      all.push_back(std::move(sum));
   }
   if (all.size() > mostPeers) {
      std::stable_sort(all.begin(), all.end(), [](PeerSum const& a, PeerSum const& b) {
         return a.memoryBytes > b.memoryBytes;
      });
      PeerSum others[2] = {{"others", "", false}, {"others", "", true}};
      for (std::size_t i = mostPeers; i < all.size(); ++i) {
         others[all[i].isServed ? 1 : 0].add(all[i]);
      }
      all.resize(mostPeers);
      for (PeerSum const& each : others) {
         if (each.connections > 0) {
            all.push_back(each);
         }
      }
   }
   return all;
}

void peerMetrics(Metrics& metrics) {
   std::vector<Cairn::PeerUse> const uses = Cairn::peerUses();
   metrics.metric("gantry_connections", Metrics::Kind::gauge,
                  "Connections on which both sides have said who they are.");
   for (bool const isServed : {false, true}) {
      metrics.sample(static_cast<std::uint64_t>(std::count_if(
                        uses.begin(), uses.end(),
                        [=](Cairn::PeerUse const& use) { return use.isServed == isServed; })),
                     {{"role", roleOf(isServed)}});
   }
   std::vector<PeerSum> const peers = peersOf(uses);
   auto const each = [&](char const* name, char const* help, std::size_t PeerSum::*value) {
      metrics.metric(name, Metrics::Kind::gauge, help);
      for (PeerSum const& peer : peers) {
         metrics.sample(
            peer.*value,
            {{"peer", peer.name}, {"address", peer.address}, {"role", roleOf(peer.isServed)}});
      }
   };
   each("gantry_peer_mounts", "Mounts that stand on the connections of the peer.",
        &PeerSum::mounts);
   each("gantry_peer_entities", "Entities that travel on the connections of the peer.",
        &PeerSum::entities);
   each("gantry_peer_queued_bytes", "Bytes that wait to be sent to the peer.",
        &PeerSum::queuedBytes);
   each("gantry_peer_memory_bytes", "Bytes that are held for the peer.", &PeerSum::memoryBytes);
}

} // namespace

void Metrics::metricIs(char const* name, char const* kind, char const* help) {
   all_.push_back({{"name", name}, {"kind", kind}, {"help", help}, {"samples", Json::array()}});
}

void Metrics::sampleIs(Json value, Labels const& labels) {
   Json texts = Json::object();
   for (auto const& [name, text] : labels) {
      texts[name] = text;
   }
   all_.back()["samples"].push_back({{"labels", std::move(texts)}, {"value", std::move(value)}});
}

void Metrics::summary(char const* name, char const* help, std::uint64_t count, double sum,
                      std::vector<std::pair<double, double>> const& quantiles) {
   metricIs(name, "summary", help);
   for (auto const& [part, value] : quantiles) {
      char text[16];
      std::snprintf(text, sizeof text, "%g", part);
      sampleIs(value, {{"quantile", text}});
   }
   all_.back()["sum"] = sum;
   all_.back()["count"] = count;
}

void processMetrics(Metrics& metrics) {
   loopMetrics(metrics);
   peerMetrics(metrics);
   countedMetrics(metrics);
}

void mountMetric(Metrics& metrics, std::map<std::string, std::uint64_t> const& mounts) {
   metrics.metric("gantry_mounts", Metrics::Kind::gauge, "Mounts that this host wants, by state.");
   for (Controller::MountState const state :
        {Controller::mountStateUnmounted, Controller::mountStatePending,
         Controller::mountStateMounting, Controller::mountStateFailed,
         Controller::mountStateMounted, Controller::mountStateUnmounting}) {
      std::string const name(Controller::stringValue(state).view());
      auto const found = mounts.find(name);
      metrics.sample(found != mounts.end() ? found->second : 0, {{"state", name}});
   }
}

bool isShownCounter(std::string_view name) {
   return std::any_of(std::begin(sources), std::end(sources), [name](Source const& source) {
      std::string_view const shown = source.counter;
      return shown == name || (isPrefix(shown) && name.starts_with(shown));
   });
}

} // namespace Host
