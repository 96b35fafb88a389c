# SPDX-License-Identifier: MIT
# What whole test programs printed, as ctest ends its own: the counts, then the names of those that failed or were
# skipped, each behind the variable `prefix`. "@ PROGRAM ended with STATUS" stands behind each program's output; the
# test that had begun when it died is "Not ended", and so is one that ended the program before the others. Exits with
# 1 when one failed.
function note(what) {names[++named] = what}
function lost() {++failed; note(running " (Not ended)"); running = ""}
/^\[ RUN / {running = $4}
/^\[ +(OK|SKIPPED|FAILED) +\] / {running = ""}
/^\[ +PASSED +\] [0-9]+ test/ {passed += $4; summed = 1}
/^\[ +SKIPPED +\] .* \([0-9]+ ms\)$/ {++skipped; note($4 " (Skipped)")}
/^\[ +FAILED +\] .* \([0-9]+ ms\)$/ {++failed; sub(/,$/, "", $4); note($4 " (Failed)")}
/^@ .* ended with / {
    if (running && (!/with 0$/ || !summed)) lost()
    running = ""
    summed = 0
}
END {
    if (running) lost()
    all = passed + skipped + failed
    printf "\n%d%% tests passed, %d tests failed out of %d\n", all ? 100 * (all - failed) / all : 0, failed, all
    if (named) print "\nThe following tests did not pass:"
    for (i = 1; i <= named; ++i) printf "\t%d - %s.%s\n", i, prefix, names[i]
    exit failed > 0
}
