#pragma once

namespace verrabel {

/// Lets screen readers meet the Desktop list as a list of items, each named after its file,
/// rather than as nameless panes.
void installListAccessibility();

} // namespace verrabel
