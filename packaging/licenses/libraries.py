"""The libraries that the programs contain code of."""

import dataclasses

LINUX, WINDOWS = "linux", "windows"


@dataclasses.dataclass(frozen=True)
class Library:
    name: str
    license: str  # a file of the folder "texts", or a text for people where no notice is required
    holders: tuple[str, ...] = ()
    systems: tuple[str, ...] = (LINUX, WINDOWS)


# Their licenses require these notices in what is distributed.
NOTICES = [
    Library("CLI11", "BSD-3-clause",
            ("2017-2021 University of Cincinnati, developed by Henry Schreiner under NSF AWARD 1414736",)),
    Library("spdlog", "Expat", ("2014-2016 Gabi Melman",)),
    Library("JSON for Modern C++", "Expat",
            ("2013-2022 Niels Lohmann", "2009 Florian Loitsch", "2008-2009 Bjoern Hoehrmann")),
    Library("mingw-w64 runtime", "ZPL-2.1", ("2009-2016 the mingw-w64 project",), (WINDOWS,)),
    Library("mingw-w64 winpthreads", "Expat", ("2011-2016 the mingw-w64 project",), (WINDOWS,)),
    Library("mingw-w64 winpthreads", "BSD-3-clause-Lockless", ("2010 Lockless Inc.",), (WINDOWS,)),
    Library("mingw-w64 gdtoa", "Lucent", ("1997-2001 Lucent Technologies",), (WINDOWS,)),
    Library("mingw-w64 gdtoa", "David-Gay", ("2004, 2005 David M. Gay", "1998, 2000 Lucent Technologies"), (WINDOWS,)),
]

WITHOUT_NOTICES = [
    Library("Boost", "Boost Software License 1.0"),
    Library("fmt", "Expat with an exception for programs"),
    # On Linux they are libraries of the system.
    Library("libstdc++ and libgcc", "GNU General Public License 3 with the GCC Runtime Library Exception",
            systems=(WINDOWS,)),
]

OWN = """\
All rights reserved by the postwarden developers, who determine the terms of
use.
"""


def notices(system):
    return [library for library in NOTICES if system in library.systems]


def without_notices(system):
    return [library for library in WITHOUT_NOTICES if system in library.systems]
