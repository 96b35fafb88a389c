# SPDX-License-Identifier: MIT

# The file `example` must stand in `document`, letter for letter.
file(READ "${example}" code)
file(READ "${document}" text)
string(FIND "${text}" "${code}" place)
if(place EQUAL -1)
    message(FATAL_ERROR "${document} does not quote ${example} as it stands")
endif()
