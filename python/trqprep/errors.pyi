from typing import Any

from . import Finding

class _Said:
    code: str
    text: str
    hint: str
    file: str
    where: dict[str, Any]

class TrqError(_Said, Exception):
    findings: list[Finding]
    def __init__(self, code: str, text: str, hint: str = "", file: str = "") -> None: ...

class TrqFileError(TrqError, OSError): ...
class TrqValueError(TrqError, ValueError): ...

class TrqWarning(_Said, UserWarning):
    def __init__(self, code: str, text: str, hint: str = "", file: str = "") -> None: ...
