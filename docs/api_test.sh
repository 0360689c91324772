#!/usr/bin/env bash
# Makes the API documentation, without a warning, and looks whether it has a page for every header
# that is installed, and for no other, with what the header's comments say.   usage: api_test.sh DOXYGEN
set -euo pipefail
cd "$(dirname "$0")/.."
rm -rf build/html
"$1" docs/Doxyfile
fail() { echo "FAILED: $*" >&2; exit 1; }

# Nodes.h is the inside of PropertyList.h.
headers=$(grep -v '#' api/PublicHeaders.cmake | grep -o '\b[A-Za-z]*\.h\b')
for header in $headers; do
  [ "$header" = Nodes.h ] || [ -s "build/html/${header%.h}_8h.html" ] || fail "no page for $header"
done

for page in build/html/*_8h.html; do
  page=${page##*/}
  grep -w "${page%_8h.html}.h" <<<"$headers" >/dev/null || fail "a page for ${page%_8h.html}.h, which is not installed"
done

# text_has PAGE WORDS
text_has() { sed 's/<[^>]*>//g' "build/html/$1" | grep -F -e "$2" >/dev/null || fail "$1 does not say: $2"; }
text_has AccountsManager_8h.html "AccountsManager is the account store"
text_has classaccountsettings_1_1AccountsManager.html "Appends the account unless its identifier is taken."
text_has structaccountsettings_1_1HostOptions.html "The name under which this program logs"
# Each declaration below a comment has it, and the first page leads to where one begins.
named=$(sed 's/<[^>]*>//g' build/html/classaccountsettings_1_1BasicAccount.html | grep -c '^Named reads of')
[ "$named" -ge 7 ] || fail "of seven named reads of an account, $named have their comment"
text_has index.html "A first program"
grep -q 'href="md_docs_GUIDE.html"' build/html/index.html || fail "the first page does not lead to the guide"
text_has md_docs_GUIDE.html "A store is a reading of the settings file"
grep -q 'href="md_docs_ABI.html"' build/html/md_docs_GUIDE.html || fail "the guide does not lead to what it names"
echo "$(ls build/html/*_8h.html | wc -l) headers are documented."
