#!/usr/bin/env bash
# Every picture in docs/guides/pictures/ is what its description gives now. Run in the root of the source tree.
set -euo pipefail

problems=0
pictures=0
for picture in docs/guides/pictures/*.svg; do
    pictures=$((pictures + 1))
    cmp <(awk -f tools/sequence-svg.awk "${picture%.svg}.seq") "$picture" || problems=$((problems + 1))
done
echo "pictures: $pictures compared, $problems problems (awk -f tools/sequence-svg.awk NAME.seq > NAME.svg)"
[ "$problems" -eq 0 ]
