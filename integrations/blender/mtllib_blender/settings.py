"""The user's settings, as plain values that any thread may read."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Optional, Tuple

PROXY_SYSTEM = "SYSTEM"
PROXY_NONE = "NONE"
PROXY_ADDRESS = "ADDRESS"


@dataclass(frozen=True)
class Settings:
    address: str
    """Of the online library."""
    folder: str
    """Of the local copy; absolute."""
    proxy: str
    """One of the constants above."""
    proxy_address: str
    asset_library: str
    """The name under which the folder is registered."""
    prune: bool
    """Whether files that the library has withdrawn are removed."""
    uses_module: bool
    """Whether the module does the work in the engine's place."""
    keys: Tuple[str, ...]
    """The public keys, or their files, of which one has to have signed the library."""
    library_name: str
    """That it has to be signed with; may be empty."""
    allow_expired: bool
    """Whether a release that has expired is taken."""
    mirrors: Tuple[str, ...] = ()
    """Other addresses of the online library."""
    ca_file: str = ""
    """With the authorities that are trusted; may be empty."""
    proxy_user: str = ""
    proxy_password: str = ""
    """Of the proxy; both may be empty."""
    request_field: str = ""
    """"NAME: VALUE", sent with every request over https; may be empty."""
    query: str = ""
    """Behind the "?" of every URL; may be empty."""
    user_agent: str = ""
    """The name sent to servers; empty for the package's."""
    connect_timeout: str = ""
    """A time in s, m or h; empty for the engine's. So are the next two."""
    stall_timeout: str = ""
    max_time: str = ""
    """Empty for no limit."""
    limit_rate: str = ""
    """A size in bytes, or with k, M or G; empty for no limit."""
    retries: Optional[int] = None
    """How often a failed request is sent again; None for as often as the engine does."""
    forget_keys: bool = False
    """Whether what the copy has seen with keys no longer counts."""

    def missing(self) -> Optional[str]:
        """The label of the first setting without which nothing can start."""
        values = {
            "Address": self.address,
            "Folder": self.folder,
            "Proxy Address": self.proxy != PROXY_ADDRESS or self.proxy_address,
            "Asset Library": self.asset_library,
        }
        return next((label for label, value in values.items() if not value), None)
