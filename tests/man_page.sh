#!/bin/sh
# Does a man page name the options that the program's help names, and no others? man_page.sh PAGE PROGRAM; of a program
# with subcommands their options count as well.
set -eu
page=$1
program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

options() { grep -oE -- '--[a-z][a-z-]*' | sort -u; }

"$program" --help >"$work/help"
sed -n '/^Subcommands:/,$s/^  \([a-z]\{1,\}\) .*/\1/p' "$work/help" >"$work/subcommands"
{
    cat "$work/help"
    while read -r subcommand; do "$program" "$subcommand" --help </dev/null; done <"$work/subcommands"
} | sed 's/, /\n  /; s/,-/\n  -/' | sed -n 's/^ *\(-.*\)/\1/p' | sed 's/  .*//' | options >"$work/told"
sed -n 's/^\.It Fl/Fl/p' "$page" | sed 's/Fl Fl /--/g' | options >"$work/written"
sed -n 's/^\.It Cm \([a-z]*\).*/\1/p' "$page" | sort >"$work/written_subcommands"
sort "$work/subcommands" | diff -u --label "$program --help" --label "$page" - "$work/written_subcommands"
[ -s "$work/told" ] && diff -u --label "$program --help" --label "$page" "$work/told" "$work/written"
