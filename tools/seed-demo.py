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
# Yesterday's scheduled backup in the engine's day index, for the menu's dashboard.
import datetime
yesterday = (datetime.datetime.now() - datetime.timedelta(days=1)).replace(hour=21, minute=30, second=4, microsecond=0)
index = under(root, logs + '/LOGXML/' + yesterday.strftime('%m-%d-%Y') + '.xml')
if not os.path.exists(index):
    with open(index, 'w') as f:
        f.write('<?xml version="1.0" encoding="utf-8"?>\n<records>\n<record>\n'
                '\t<datetime>%s</datetime>\n\t<uname>%s</uname>\n\t<files>1152</files>\n'
                '\t<filesinsync>1024</filesinsync>\n\t<status>Success</status>\n\t<duration>00:12:41</duration>\n'
                '\t<content>Scheduled backup</content>\n\t<optype>1</optype>\n\t<lpath>/Users</lpath>\n'
                '\t<logfile>/%s/Backup/Backup11-20-2026-21-30-4</logfile>\n\t<logname>%s</logname>\n'
                '</record>\n</records>\n' % (yesterday.strftime('%b %d, %Y %I:%M:%S %p'), account, logs,
                                            yesterday.strftime('%m-%d-%Y')))

print('demo environment ready: root %s, home %s' % (root, home))
