"""What the functions of trqprep raise, and what they warn with."""


class _Said:
    """A code of docs/error-codes.md, one line of text, the next step, and the file concerned."""

    def _take(self, code, text, hint, file):
        self.code = code
        self.text = text
        self.hint = hint
        self.file = file
        self.where = {}

    def __str__(self):
        said = "%s [%s]" % (self.text, self.code)
        if self.file:
            said = "%s: %s" % (self.file, said)
        return "%s; %s" % (said, self.hint) if self.hint else said


class TrqError(_Said, Exception):
    """What ended a call. `findings` are the messages that came with it, if any."""

    def __init__(self, code, text, hint="", file=""):
        Exception.__init__(self, code, text, hint, file)
        self._take(code, text, hint, file)
        self.findings = []


class TrqFileError(TrqError, OSError):
    """A file is missing or malformed, or cannot be written."""

    def __init__(self, code, text, hint="", file=""):
        TrqError.__init__(self, code, text, hint, file)
        self.filename = file


class TrqValueError(TrqError, ValueError):
    """An argument makes no sense."""


class TrqWarning(_Said, UserWarning):
    """What was noticed and ended nothing."""

    def __init__(self, code, text, hint="", file=""):
        UserWarning.__init__(self, code, text, hint, file)
        self._take(code, text, hint, file)
