// All that passes a link goes through here: it is printed, put in words, and kept for the live screen.
#pragma once

#include <mutex>
#include <string>

#include "apps/host/commands/definitions.h"
#include "apps/host/console/printer.h"
#include "apps/host/watch/watch_model.h"

namespace host {

/// Any thread. The printer outlives it.
class Monitor {
  public:
    explicit Monitor(Printer& printer) : printer_(printer) {}

    Printer& printer() { return printer_; }
    void message(Direction direction, const sml::Message& message, std::string_view note = "");
    void link(bool selected);

    /// What the numbers in reports mean from now on.
    void name_reports(const Definitions& definitions);
    void name_trace(std::uint32_t trid, const std::vector<std::uint32_t>& svids);

    /// The live screen as it is now.
    std::string screen() const;

  private:
    Printer& printer_;
    mutable std::mutex mutex_;
    Names names_;
    WatchModel model_;
};

}  // namespace host
