#!/bin/bash
# includes.sh FOLDER - fails if a source of the simulator includes a source of a layer above its own. Each layer is a
# folder; from the lowest: value, controller, client, control. The control header belongs to the layer control.
set -euo pipefail
cd "$1"

above=''
status=0
for layer in control client controller value; do
    [[ -n $(ls "$layer") ]]
    if [[ -n $above ]] && grep -nE "^#include [<\"]($above)" "$layer"/*; then
        echo "includes: $layer depends on a layer above it"
        status=1
    fi
    above+="${above:+|cimsim\.h|}$layer/"
done
if find . -maxdepth 1 -type f | grep . || find . -mindepth 3 | grep .; then
    echo "includes: a source is in none of the layers' folders"
    status=1
fi
exit $status
