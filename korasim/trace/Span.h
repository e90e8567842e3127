// A span of a timeline and the spans nested in it, before it becomes trace events. A span knows
// what korasim observed of it: its start, its end, its duration, any of them or none. Fitting a
// parent's children gives each a start and a duration inside the parent, one after the other.
#pragma once

#include <stdint.h>

#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace korasim::trace {

struct Span {
    std::string name;
    std::string category;
    std::optional<int64_t> startUs, endUs, durUs;  // as observed; fitted fills all three
    nlohmann::json args = nlohmann::json::object();
    std::vector<Span> children;  // in the order they ran

    Span(std::string n, std::string c) : name(std::move(n)), category(std::move(c)) {}
    int64_t start() const { return startUs.value_or(0); }
    int64_t end() const { return start() + durUs.value_or(0); }
};

// Why a span is where it is when no clock showed it there, as its args say.
constexpr char kPlacedFromCost[] = "from the logged cost";
constexpr char kPlacedInOrder[] = "in the plugin's order";

// Resolves `root` from what was observed (start and end; start and duration; end and duration)
// and then every child, recursively: a child starts no earlier than its parent and its elder
// sibling's end, ends no later than its parent, and one with no observed start follows its elder
// sibling. A child moved by more than a millisecond says so in its args ("moved").
void fitSpans(Span& root);

}  // namespace korasim::trace
