"""The exceptions of the zel package; the compiled module raises these."""


class Error(Exception):
    """A failure reported by libzel: ``str(e)`` is the library's message, ``e.code`` the kind
    of failure ("not found", "not a cache", "corrupt", "I/O error", "invalid argument",
    "unsupported")."""

    def __init__(self, message: str, code: str = "") -> None:
        super().__init__(message)
        self.code = code


class FileError(Error, OSError):
    """A failure whose cause is the system's: a missing file, a refused read or write."""


class InvalidArgument(Error, ValueError):
    """A request the cache cannot hold, such as a wrong point count for an object."""
