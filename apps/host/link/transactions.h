// The primaries that the host sent with W, and what became of each.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "hsms/core/header.h"
#include "sml/message.h"

namespace host {

enum class Outcome : std::uint8_t {
    pending,
    replied,
    timed_out,  ///< no reply within T3
    refused,    ///< a stream 9 message named it
    lost,       ///< the link closed first
};

struct Fate {
    Outcome outcome = Outcome::pending;
    std::string reason;  ///< refused: "S9F5, function not recognised"
};

/// What S9F1 to S9F11 says (SEMI E5): which message is meant, and what is wrong with it.
struct ErrorReport {
    hsms::Header subject;
    std::string reason;  ///< "S9F5, function not recognised"
};
/// Nothing for any other message, or when the body is not the 10 bytes of a header.
std::optional<ErrorReport> read_error_report(const sml::Message& message);

/// One thread at a time. Ids are system bytes.
class Transactions {
  public:
    /// Adds a pending one and forgets those that are settled.
    void open(std::uint32_t id, const sml::Message& primary);
    /// Settles a pending one and returns its name, "S1F3"; empty when none of that id is pending.
    std::string settle(std::uint32_t id, Fate fate);
    /// The same for the one that `report` names by its id, stream and function.
    std::string refuse(const ErrorReport& report);
    /// All that are pending are lost.
    void lose();

    bool any_pending() const;
    /// `lost` for an unknown id.
    Fate fate(std::uint32_t id) const;

  private:
    struct Transaction {
        std::uint8_t stream;
        std::uint8_t function;
        Fate fate;
    };
    Transaction* pending(std::uint32_t id);

    std::map<std::uint32_t, Transaction> all_;
};

}  // namespace host
