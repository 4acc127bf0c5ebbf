// Items as people write and read them: a value typed in a command, a value or a field of a reply in words.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "hsms/core/item.h"
#include "sml/message.h"

namespace host {

/// What was typed: <U1 5> is SML, 5 a U4, "5" and all else an A. Nothing when SML is begun and wrong.
std::optional<hsms::Item> typed_item(std::string_view text);
/// The typed value in a given format; nothing when it does not fit. Quotes make an A of any format.
std::optional<hsms::Item> typed_item(std::string_view text, hsms::Format format);

/// A list of U4 items.
hsms::Item number_list(const std::vector<std::uint32_t>& numbers);
hsms::Item number_item(std::uint32_t number);

/// The value alone where that says it all: 7, 1.5, text; several values with blanks between; else SML.
std::string plain(const hsms::Item& item);
/// The first element of an integer, Boolean or binary item, or of a text that is a decimal number.
std::optional<std::uint64_t> first_number(const hsms::Item& item);

/// Child `index` of a list, or null.
const hsms::Item* child(const hsms::Item& list, std::size_t index);
/// The body's child `index`, or null.
const hsms::Item* child(const sml::Message& message, std::size_t index);
std::string plain_child(const hsms::Item& list, std::size_t index);

/// "S1F3".
std::string name_of(const sml::Message& message);

}  // namespace host
