#!/bin/sh
# Finds the texts for people in the sources, and brings the template and all translations up to date.
# usage: update.sh [--check]      with it nothing is changed, and what is out of date or not translated fails
set -eu

here=$(cd -- "$(dirname -- "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$here/../.."

# Texts that a table holds have no function around them, and those of the client library are translated by the tool.
table=platform/linux/http/HTTPStatusText.cpp
client=host/CaptureServiceClient.cpp
functions='--keyword --keyword=translated:1 --keyword=translatable:1 --keyword=translation:1 --keyword=translatedCount:2,3
           --keyword=localizedString:1'
common='--language=C++ --from-code=UTF-8 --package-name=keynote-capture --add-location=file --no-wrap'
{
    grep -rlE '(translated|translatable|translatedCount|translation|localizedString)\(\s*"|(translated|translatable|translatedCount|translation|localizedString)\($' \
        --include=*.cpp --include=*.h commandline host KeynoteCaptureService MacShared platform presenters recorder-shared tools
} | grep -vx "$table" | LC_ALL=C sort -u >"$scratch/POTFILES"
xgettext $common $functions --files-from="$scratch/POTFILES" -o "$scratch/functions.pot"
xgettext $common --keyword --keyword=makeError:3 --omit-header -o "$scratch/client.pot" "$client"
sed 's/^#include.*//' "$table" >"$scratch/table.cpp"  # a file: version 0.23 of xgettext aborts when it is to read a pipe
xgettext $common --extract-all --omit-header -o - "$scratch/table.cpp" | sed "s,^#: .*,#: $table," >"$scratch/table.pot"
printf '%s\n' "$table" "$client" >>"$scratch/POTFILES"
LC_ALL=C sort -o "$scratch/POTFILES" "$scratch/POTFILES"
# Which texts are formats only newer versions of gettext tell; what is filled in is compared below.
msgcat --no-wrap --use-first "$scratch/functions.pot" "$scratch/client.pot" "$scratch/table.pot" |
    sed -e '/^"POT-Creation-Date:/d' -e '/^#, c++-format$/d' -e 's/charset=CHARSET/charset=UTF-8/' -e '/^# SOME DESCRIPTIVE TITLE/,/^# FIRST AUTHOR/d' \
        >"$scratch/keynote-capture.pot"

if [ "${1:-}" != --check ]; then
    cp "$scratch/POTFILES" "$scratch/keynote-capture.pot" "$here"
    while read -r language; do
        msgmerge --quiet --update --backup=none --no-wrap --no-fuzzy-matching "$here/$language.po" "$here/keynote-capture.pot"
    done <"$here/LINGUAS"
    exit 0
fi

failed=0
for file in POTFILES keynote-capture.pot; do
    diff -u "$here/$file" "$scratch/$file" || { echo "resources/po/$file is out of date; run resources/po/update.sh"; failed=1; }
done
while read -r language; do
    po=$here/$language.po
    msgfmt --check --check-format -o /dev/null "$po" || failed=1
    msgcmp "$po" "$here/keynote-capture.pot" || failed=1
    if msgattrib --only-fuzzy "$po" | grep -q msgid; then echo "$language.po has fuzzy texts"; failed=1; fi
    # What is filled in must be there in a translation, too, in whatever order.
    msgcat --no-wrap "$po" | sed 's/^msgid_plural/msgid/; s/^msgstr\[[0-9]\]/msgstr/' | awk -v name="$language.po" '
        function places(text,  found) {
            found = ""
            while (match(text, /\{[0-9]*\}|%[0-9]\$@/)) { found = found (RSTART > 0); text = substr(text, RSTART + RLENGTH) }
            return length(found)
        }
        function compare() {
            for (i = 1; i <= count; ++i) if (length(translations[i]) > 2 && places(translations[i]) != places(english)) {
                print name ": other places than in " english; failed = 1
            }
            count = 0
        }
        /^msgid / { if (count > 0) compare(); english = substr($0, 7); part = "id" }
        /^msgstr / { translations[++count] = substr($0, 8); part = "str" }
        /^"/ { if (part == "id") english = english $0; else translations[count] = translations[count] $0 }
        END { compare(); exit failed }' || failed=1
done <"$here/LINGUAS"
exit $failed
