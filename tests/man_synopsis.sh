#!/usr/bin/env bash
# The manual's synopsis holds every usage line of --help, letter case and spacing aside.
# Usage: bash tests/man_synopsis.sh TABRUN_BINARY MAN_PAGE
set -euo pipefail
norm() { tr 'A-Z' 'a-z' | sed -E 's/^ *(usage:)? *//; s/ *> *report\.html//; s/ +/ /g; s/ $//'; }
synopsis=$(groff -man -Tascii -P-cbou "$2" | sed -n '/^SYNOPSIS/,/^DESCRIPTION/p' | norm)
"$1" --help | sed '/^$/q' | grep tabrun | norm | while read -r line; do
  grep -qxF -- "$line" <<<"$synopsis" || { echo "not in the synopsis of $2: $line" >&2; exit 1; }
done
