#!/usr/bin/env python3
"""Seeds a demo environment for `make run`: a logged-in account, its backup set, a few
schedules of each kind and some session logs, under ROOT (for /...) and HOME (for ~/...).

  tools/seed-demo.py LUMENCTL ROOT HOME
"""
import os
import plistlib
import subprocess
import sys

from demo_files import log_in, under

lumenctl, root, home = sys.argv[1:4]
env = dict(os.environ, HOME=home)
account = 'ann@example.com'


support = 'Library/Application Support'
log_in(home, serverName='storage1.corvane.example', UserAtServer='ann@storage1', SSL='YES',
       quotaServername='quota.corvane.example')
documents = under(home, 'Documents/report.txt')
with open(documents, 'w') as f:
    f.write('Quarterly report\n' * 200)
with open(under(root, support + '/CorvaneforMac/BackupSets/%s.plist' % account), 'wb') as f:
    plistlib.dump([os.path.join(home, 'Documents')], f)

def lumenctl_run(*args):
    subprocess.run([lumenctl, '--root', root, *args], env=env, check=True, stdout=subprocess.DEVNULL)

if not os.path.exists(under(root, support + '/CorvaneforMac/Scheduler/Schedules')):
    lumenctl_run('schedules', 'add', '--frequency', 'daily', '--time', '21:30', '--user', 'ann', '--account', account)
    lumenctl_run('schedules', 'add', '--frequency', 'weekdays', '--days', '1,3,5', '--time', '12:15', '--user', 'ann', '--account', account)
    lumenctl_run('schedules', 'add', '--frequency', 'monthly', '--day-of-month', '1', '--time', '02:00', '--user', 'bob', '--account', 'bob@example.com')
    lumenctl_run('schedules', 'add', '--frequency', 'hourly', '--time', '08:00', '--user', 'bob', '--account', 'bob@example.com')

logs = support + '/CorvanePortableforMac/SessionLogs'
for name, text in (('Backup/Backup11-20-2026-21-30-4', 'Scheduled backup of ann@example.com\n1152 files backed up\n'),
                   ('Restore/Restore11-21-2026-9-12-40', 'Restore of /Users/ann/Documents/report.txt\n1 file restored\n')):
    with open(under(root, logs + '/' + name), 'w') as f:
        f.write(text)
print('demo environment ready: root %s, home %s' % (root, home))
