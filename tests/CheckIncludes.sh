#!/bin/sh
# Checks the folder edges of the source tree from its include lines. Dependencies run one way:
#   com/         the generic COM plumbing: itself only
#   scales/      pure functions of numbers: itself only
#   statistics/  com/ only
#   items/       anything but control/, regions/, interaction/, pages/
# and every include of a project header names its folder, so that each edge shows in the line.
# Usage: CheckIncludes.sh <source root>
root=$1
status=0

# Prints "file: folder" for every project folder that a file of `dir` includes.
edges() {
  grep -Ho '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"]*"' "$root/$1"/*.h "$root/$1"/*.cpp 2>/dev/null |
    sed 's|^'"$root"'/||; s|:.*"\([^"]*\)"$|: \1|' | awk -F': ' '{ split($2, p, "/"); if (p[2] != "") print $1 ": " p[1] }'
}

# `dir` may include only its own folder and those listed.
allow_only() {
  dir=$1; shift
  edges "$dir" | while read -r file target; do
    ok=0
    [ "$target" = "$dir" ] && ok=1
    for a in "$@"; do [ "$target" = "$a" ] && ok=1; done
    [ $ok -eq 1 ] || echo "forbidden: $file includes $target/"
  done
}

# `dir` must not include any folder listed.
deny() {
  dir=$1; shift
  edges "$dir" | while read -r file target; do
    for d in "$@"; do [ "$target" = "$d" ] && echo "forbidden: $file includes $target/"; done
  done
}

report=$( {
  allow_only com
  allow_only scales
  allow_only statistics com
  deny items control regions interaction pages
} )

# A bare include may name only a generated header: no file of that name in the tree.
bare=$(grep -ho '^[[:space:]]*#[[:space:]]*include[[:space:]]*"[^"/]*"' \
         $(find "$root" -path "$root/build*" -prune -o \( -name '*.h' -o -name '*.cpp' \) -print) |
       sed 's/.*"\([^"]*\)"/\1/' | sort -u | while read -r name; do
         found=$(find "$root" -path "$root/build*" -prune -o -name "$name" -print | head -1)
         [ -n "$found" ] && echo "unqualified: \"$name\" (found at ${found#$root/})"
       done)

if [ -n "$report$bare" ]; then
  printf '%s\n' "$report" "$bare" | sed '/^$/d'
  status=1
fi
[ $status -eq 0 ] && echo "folder edges: all checks passed"
exit $status
