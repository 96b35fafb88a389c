# SPDX-License-Identifier: MIT

# The nine words that order everything: tests/, examples/, benchmarks/, docs/ and the README's table.
set(VORN_SUBSYSTEMS
    json identifiers time threads processes files binding plugins arguments)
