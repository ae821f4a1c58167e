#pragma once

// What the server-message fuzz target and the writer of its seeds agree on.

namespace FuzzSupport {

/// The guid of the note that a real client holds in the fuzzed canvas, for seeds to address.
constexpr char fuzzNoteGuid[] = "fuzz-note";

/// Stands for the guid of the canvas root in an input, which the target swaps for the root's real guid
/// before sending. Both are 36 bytes long, so every length in the frame stays right.
constexpr char rootGuidStandIn[] = "00000000-0000-0000-0000-000000000000";

} // namespace FuzzSupport
