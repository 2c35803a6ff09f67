# bash completion for xavoctl: the program knows its own commands and options. Without it, bash's own.
# shellcheck shell=bash
eval "$(xavoctl completion bash 2>/dev/null)"
complete -p xavoctl &>/dev/null
