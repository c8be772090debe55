#!/usr/bin/env bash
# The shared engine exports exactly the functions that its header declares, under the name that kelv looks for.
set -euo pipefail
library=$1 header=$2
exported=$(nm -D --defined-only "$library" | awk '{print $3}' | sort)
declared=$(grep -oE '\bPdfOptimize[A-Za-z]+\(' "$header" | tr -d '(' | sort -u)
diff <(echo "$declared") <(echo "$exported")
readelf -d "$library" | grep -q 'SONAME.*\[libPdfOptimizeAPI\.so\]'
