#include "station/figures/batch_figures.h"

#include <algorithm>

#include "station/figures/fisher.h"

namespace t1station {
namespace {

/// Whether a character of several bytes goes on here.
bool is_inside_character(std::string_view text, std::size_t place) {
  return place < text.size() && (static_cast<unsigned char>(text[place]) & 0xC0U) == 0x80U;
}

/// How many bytes two texts have in common from their beginning, in whole characters.
std::size_t common_length(std::string_view one, std::string_view other) {
  const auto end = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first;
  auto length = static_cast<std::size_t>(end - one.begin());
  while (length > 0 && (is_inside_character(one, length) || is_inside_character(other, length))) --length;
  return length;
}

/// The character there; empty at the text's end.
std::string character_at(std::string_view text, std::size_t place) {
  std::size_t length = place < text.size() ? 1 : 0;
  while (is_inside_character(text, place + length)) ++length;
  return std::string(text.substr(place, length));
}

}  // namespace

BatchCounting::Batch& BatchCounting::batch_of(std::string_view serial) {
  if (is_empty_) common_ = serial;
  is_empty_ = false;
  const std::size_t common = common_length(common_, serial);
  if (common < common_.size()) join_all(common);
  return batches_[character_at(serial, common)];
}

void BatchCounting::join_all(std::size_t common) {
  Batch all;
  for (auto& [character, batch] : batches_) {
    all.figures.units += batch.figures.units;
    for (const auto share : {&BatchFigures::first_pass, &BatchFigures::final}) {
      (all.figures.*share).part += (batch.figures.*share).part;
      (all.figures.*share).all += (batch.figures.*share).all;
    }
    std::move(batch.lost.begin(), batch.lost.end(), std::back_inserter(all.lost));
  }
  std::sort(all.lost.begin(), all.lost.end());
  if (all.lost.size() > FoundRuns::kMostIds) all.lost.resize(FoundRuns::kMostIds);
  batches_.clear();
  batches_.emplace(character_at(common_, common), std::move(all));
  common_.resize(common);
}

void BatchCounting::add_unit(std::string_view serial, bool has_passed) {
  BatchFigures& figures = batch_of(serial).figures;
  ++figures.units;
  ++figures.final.all;
  if (has_passed) ++figures.final.part;
}

void BatchCounting::add_first(std::string_view serial, bool is_good, std::string_view run) {
  Batch& batch = batch_of(serial);
  ++first_runs_;
  ++batch.figures.first_pass.all;
  if (is_good) {
    ++batch.figures.first_pass.part;
  } else if (batch.lost.size() < FoundRuns::kMostIds) {
    batch.lost.emplace_back(first_runs_, run);
  }
}

std::vector<BatchFigures> BatchCounting::finish() {
  Share all;
  for (const auto& [character, batch] : batches_) {
    all.part += batch.figures.first_pass.part;
    all.all += batch.figures.first_pass.all;
  }
  std::vector<BatchFigures> found;
  for (auto& [character, batch] : batches_) {
    BatchFigures& figures = batch.figures;
    const Share& own = figures.first_pass;
    figures.begin = common_ + character;
    figures.others = {all.part - own.part, all.all - own.all};
    figures.lost.count = own.all - own.part;
    for (auto& [place, run] : batch.lost) figures.lost.ids.push_back(std::move(run));
    if (own.all > 0 && figures.others.all > 0) {
      figures.p = fisher_exact(
          {own.part, own.all - own.part, figures.others.part, figures.others.all - figures.others.part});
      figures.is_marked = is_marked(*figures.p, own.all);
    }
    found.push_back(std::move(figures));
  }
  return found;
}

}  // namespace t1station
