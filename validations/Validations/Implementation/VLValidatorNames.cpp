// The validator's test names and identifier marks.
#include <array>
#include <cctype>

#include "Core/VLRandom.h"
#include "Validations/VLValidator.h"

namespace {
// 256 short words, one per byte value, so that four random bytes make a readable name.
// clang-format off
constexpr std::array<const char*, 256> kWords = {
    "ack", "alabama", "alanine", "alaska", "alpha", "angel", "apart", "april", "arizona", "arkansas", "artist",
    "asparagus", "aspen", "august", "autumn", "avocado", "bacon", "bakerloo", "batman", "beer", "berlin",
    "beryllium", "black", "blossom", "blue", "bluebird", "bravo", "bulldog", "burger", "butter", "california",
    "carbon", "cardinal", "carolina", "carpet", "cat", "ceiling", "charlie", "chicken", "coffee", "cola", "cold",
    "colorado", "comet", "connecticut", "crazy", "cup", "dakota", "december", "delaware", "delta", "diet", "don",
    "double", "early", "earth", "east", "echo", "edward", "eight", "eighteen", "eleven", "emma", "enemy", "equal",
    "failed", "fanta", "fifteen", "fillet", "finch", "fish", "five", "fix", "floor", "florida", "football", "four",
    "fourteen", "foxtrot", "freddie", "friend", "fruit", "gee", "georgia", "glucose", "golf", "green", "grey",
    "hamper", "happy", "harry", "hawaii", "helium", "high", "hot", "hotel", "hydrogen", "idaho", "illinois",
    "india", "indigo", "ink", "iowa", "island", "item", "jersey", "jig", "johnny", "juliet", "july", "jupiter",
    "kansas", "kentucky", "kilo", "king", "kitten", "lactose", "lake", "lamp", "lemon", "leopard", "lima", "lion",
    "lithium", "london", "louisiana", "low", "magazine", "magnesium", "maine", "mango", "march", "mars",
    "maryland", "massachusetts", "may", "mexico", "michigan", "mike", "minnesota", "mirror", "mississippi",
    "missouri", "mobile", "mockingbird", "monkey", "montana", "moon", "mountain", "muppet", "music", "nebraska",
    "neptune", "network", "nevada", "nine", "nineteen", "nitrogen", "north", "november", "nuts", "october", "ohio",
    "oklahoma", "one", "orange", "oranges", "oregon", "oscar", "oven", "oxygen", "papa", "paris", "pasta",
    "pennsylvania", "pip", "pizza", "pluto", "potato", "princess", "purple", "quebec", "queen", "quiet", "red",
    "river", "robert", "robin", "romeo", "rugby", "sad", "salami", "saturn", "september", "seven", "seventeen",
    "shade", "sierra", "single", "sink", "six", "sixteen", "skylark", "snake", "social", "sodium", "solar",
    "south", "spaghetti", "speaker", "spring", "stairway", "steak", "stream", "summer", "sweet", "table", "tango",
    "ten", "tennessee", "tennis", "texas", "thirteen", "three", "timing", "triple", "twelve", "twenty", "two",
    "uncle", "undress", "uniform", "uranus", "utah", "vegan", "venus", "vermont", "victor", "video", "violet",
    "virginia", "washington", "west", "whiskey", "white", "william", "winner", "winter", "wisconsin", "wolfram",
    "wyoming", "xray", "yankee", "yellow", "zebra", "zulu"};
// clang-format on

// The stored mark that stands for "not marked" in robust look-ups.
constexpr uint64_t kNotFound = 0x7fffffffffffffffULL;
}  // namespace

std::string VLValidator::happyRandomName() {
  uint8_t bytes[4];
  vl_randomBytes(bytes, sizeof bytes);
  std::string name;
  for (uint8_t byte : bytes) {
    std::string word = kWords[byte];
    word[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(word[0])));
    name += word;
  }
  return name;
}

std::string VLValidator::newFilenameForDirectory(bool isDirectory) {
  return (isDirectory ? "ValidationFolder-" : "Validation-") + happyRandomName();
}

void VLValidator::registerIdentifiers(std::vector<std::string> identifiers) {
  auto self = shared_from_this();
  validationQueue_->async([self, identifiers = std::move(identifiers)] {
    auto& marks = self->markedIdentifiers_;
    uint64_t common = kNotFound;
    for (const auto& identifier : identifiers) {
      auto found = marks.find(identifier);
      if (found != marks.end()) {
        common = found->second;
        break;
      }
    }
    if (common == kNotFound) common = self->highestMarkedIdentifier_++;
    for (const auto& identifier : identifiers) marks[identifier] = common;
  });
}

VLValidator::MarkTable VLValidator::markedIdentifiers() {
  MarkTable copy;
  validationQueue_->sync([&] { copy = markedIdentifiers_; });
  return copy;
}
