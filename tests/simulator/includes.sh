#!/bin/bash
# includes.sh FOLDER - fails if a source of the simulator includes a source of a layer above its own. Each layer is a
# folder; from the lowest: value, controller, client, control. The control header belongs to the layer control.
cd "$1" || exit
wrong=$(
    exec 2>&1 # a layer without sources is wrong, too
    grep -nE '^#include [<"](control/|cimsim\.h|client/|controller/)' value/*
    grep -nE '^#include [<"](control/|cimsim\.h|client/)' controller/*
    grep -nE '^#include [<"](control/|cimsim\.h)' client/*
    find . -type f ! -path './value/*' ! -path './controller/*' ! -path './client/*' ! -path './control/*'
    find . -mindepth 3
)
[[ -z $wrong ]] || { echo "$wrong"; exit 1; }
