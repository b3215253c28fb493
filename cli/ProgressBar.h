// The bar a terminal shows for a progress line that ends in a percentage.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace cli {

// The percentage a progress text ends with ("Downloading (5 K) 50.0%"
// gives 50); nullopt when it ends otherwise.
std::optional<double> TrailingPercentage(std::wstring_view text);

// "[#########...............] " followed by the text, for a text that ends
// in a percentage (clamped to 0..100); the text alone otherwise.
std::wstring WithProgressBar(std::wstring_view text);

} // namespace cli
