#pragma once

#include <QByteArray>

namespace Tessel {

/// A new globally unique identifier as text, 36 characters without braces
/// ("1b4e28ba-2fa1-11d2-883f-0016d3cca427"). Elements use it as guid and as name.
QByteArray generateUuid();

/// A short hexadecimal digest of `data`: the first eight bytes of its SHA-256, as sixteen lower-case hex
/// digits. Short enough to show, long enough not to collide among one user's files.
QByteArray shortHexHash(QByteArray const& data);

} // namespace Tessel
