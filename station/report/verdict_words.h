// Verdicts and outcomes as people read them: with the sign and the word that the operator's page has.
#pragma once

#include <optional>
#include <string>

#include "station/report/html.h"

namespace t1station {

/// For example "✓ 合格 PASS"; for what has no verdict, that it has no end yet.
std::string verdict_words(const std::optional<std::string>& verdict, Wording say);

/// An attempt's outcome, for example "timed out".
std::string outcome_words(const std::string& outcome, Wording say);

/// A measurement's, for example "too high".
std::string measured_words(const std::string& outcome, Wording say);

/// Adds the verdict's words with its colour.
pugi::xml_node add_verdict(pugi::xml_node to, const std::optional<std::string>& verdict, Wording say,
                           std::string_view of_class = {});

}  // namespace t1station
