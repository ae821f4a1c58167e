#!/usr/bin/env bash
# Fails when a public header is missing from Datamodel.hpp, the one include a user needs.
set -euo pipefail
cd "$(dirname "$0")/.."
missing=0
while IFS= read -r header; do
    # The futures module is included by folly's own paths, so that an installed folly can stand in for it.
    included=${header#platform/folly/}
    [ "$included" = "$header" ] || included="folly/$included"
    if ! grep -q "#include \"$included\"" Datamodel.hpp; then
        echo "Datamodel.hpp does not include $header"
        missing=1
    fi
done < <(find platform attributes framework canvas media session index operators migrations client \
              \( -name '*.hpp' -o -name '*.h' \) -not -path '*/detail/*' 2>/dev/null | sort)
exit $missing
