// The station's own sentences in the languages of its readers: records have them in English.
#pragma once

#include <string>
#include <string_view>

#include "station/report/html.h"

namespace t1station {

/// What the station's page says for its sentences: JSON, pairs of an English sentence, in which a star stands
/// for what differs, and its Chinese, in which {1} stands for the first star's text.
std::string_view reason_table();

/// Whether the words of an attempt that ended like that are the station's own: its board said nothing.
bool are_stations_words(std::string_view outcome);

/// A reason of a run, in the language of a page as far as its sentence is known; boards' words stay.
std::string reason_words(const std::string& reason, Wording say);

}  // namespace t1station
