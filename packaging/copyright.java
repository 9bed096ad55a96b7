Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: optdoe

Files: *
Copyright: 2026 optdoe developers
License: all-rights-reserved
 All rights reserved. No licence to copy, change or distribute is granted with
 this package; ask the developers.

Files: usr/share/java/*
Copyright: 2026 optdoe developers
 2017-2018, Remko Popma <rpopma@apache.org>
 2017, Jim White
 2017, Robert Zenz
 2007, Burt Beckwith
License: all-rights-reserved and Apache-2.0
Comment: The command line's jar contains the classes of picocli (Apache-2.0).
 The library's jar contains a native library made with libcsv (LGPL-2.1+, Robert
 Gamble), fmt (MIT, Victor Zverovich) and nlohmann-json (MIT, Niels Lohmann);
 their notices stand in its META-INF/licenses.

License: Apache-2.0
 On Debian systems the text of the Apache License, Version 2.0, stands in
 /usr/share/common-licenses/Apache-2.0.
