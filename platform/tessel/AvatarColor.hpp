#pragma once

#include "platform/cobalt/Color.hpp"

#include <QString>

namespace Tessel {

/// A colour for a user's avatar, derived from `seed` (an e-mail address, say) and from nothing else, so
/// that every client paints the same user alike. The seed is folded to lower case first, since addresses
/// that differ only in case name the same user.
///
/// The colours form a wheel of 24 hues, 15 degrees apart, all with saturation 0.55 and lightness 0.45 in
/// HSL: mid-dark and calm enough for white initials on top. Always opaque, with straight alpha. Any
/// thread.
Cobalt::Color randomAvatarColor(QString const& seed);

} // namespace Tessel
