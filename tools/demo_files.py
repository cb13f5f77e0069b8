"""Files of a demo or screenshot environment: product paths under a root or a home folder, and the
logged-in account the monitor reads."""
import os
import plistlib

SUPPORT = 'Library/Application Support/CorvanePortableforMac'


def under(base, path):
    """The real path of `path` under `base`, its folders made."""
    full = os.path.join(base, path.lstrip('/'))
    os.makedirs(os.path.dirname(full), exist_ok=True)
    return full


def log_in(home, **extra):
    """Ann, logged in: the last-login details in `home`."""
    details = {'CorvaneUsername': 'ann@example.com', 'Username': 'ann', 'serverName': 'storage1', **extra}
    with open(under(home, SUPPORT + '/CVLoginDetails.plist'), 'wb') as f:
        plistlib.dump(details, f)
