"""Import it in each test that makes a repository: git then works on that one alone. A hook that runs the tests has
variables (GIT_DIR, GIT_INDEX_FILE) that would lead git to the developer's own repository, and the user's settings may
sign commits or run hooks."""

import os

for name in [name for name in os.environ if name.startswith("GIT_")]:
    del os.environ[name]
os.environ["GIT_CONFIG_GLOBAL"] = os.devnull
os.environ["GIT_CONFIG_NOSYSTEM"] = "1"
