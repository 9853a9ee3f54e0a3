/// Quantiles, from the steps.
#include <gantry/runtime/fen/Histogram.h>

#include <cmath>

namespace Fen {

std::uint64_t Histogram::upperEnd(std::size_t place) {
   if (place < steps) {
      return place;
   }
   if (place == places - 1) {
      return ~std::uint64_t{0};
   }
   auto const shift = static_cast<unsigned>(place / steps) - 1;
   std::uint64_t const lowerEnd = (steps + place % steps) << shift;
   return lowerEnd + (std::uint64_t{1} << shift) - 1;
}

std::uint64_t Histogram::quantile(double part) const {
   auto const wanted = static_cast<std::uint64_t>(
      std::ceil(std::clamp(part, 0.0, 1.0) * static_cast<double>(count_)));
   std::uint64_t seen = 0;
   for (std::size_t place = 0; place < places; ++place) {
      seen += counts_[place];
      if (counts_[place] != 0 && seen >= wanted) {
         return std::min(upperEnd(place), largest_);
      }
   }
   return 0;
}

} // namespace Fen
