// GNUstep Base's keyed archiver and unarchiver on schedule records, for the interoperability test.
//   gnustep_archiver write FILE binary|xml   archives the sample records, prints them
//   gnustep_archiver read FILE               unarchives the records of FILE, prints them
// A record prints as one "key=value" line per archived field, in the archive's key order; a
// date as whole seconds since 1970, days as their integer values, nil as "(nil)".
#import <Foundation/Foundation.h>
#include <stdio.h>

@interface CorvaneScheduleItem : NSObject
{
@public
    int scheduleType, frequency, status, scheduleTimeSettings;
    NSDate *scheduleTime;
    NSString *destination, *username, *corvaneUserName, *emailids, *userAtServer, *serverName,
        *quotaServerName, *password, *processReferenceFile;
    BOOL displayDesktopNotification, shouldStartMissedScheduleBackup, sendEmailNotification,
        isUseSSL, sendLogExtract, notifyOnFailure, isAutoSyncEnabled;
    NSArray *selectedDays;
}
@end

@implementation CorvaneScheduleItem
- (void)encodeWithCoder:(NSCoder *)c
{
    [c encodeInt:scheduleType forKey:@"scheduleType"];
    [c encodeObject:scheduleTime forKey:@"scheduleTime"];
    [c encodeInt:frequency forKey:@"frequency"];
    [c encodeInt:status forKey:@"status"];
    [c encodeObject:destination forKey:@"destination"];
    [c encodeObject:username forKey:@"username"];
    [c encodeObject:corvaneUserName forKey:@"corvaneUserName"];
    [c encodeObject:emailids forKey:@"emailids"];
    [c encodeBool:displayDesktopNotification forKey:@"displayDesktopNotification"];
    [c encodeBool:shouldStartMissedScheduleBackup forKey:@"shouldStartMissedScheduleBackup"];
    [c encodeBool:sendEmailNotification forKey:@"sendEmailNotification"];
    [c encodeObject:userAtServer forKey:@"userAtServer"];
    [c encodeObject:serverName forKey:@"serverName"];
    [c encodeObject:quotaServerName forKey:@"quotaServerName"];
    [c encodeObject:password forKey:@"password"];
    [c encodeObject:processReferenceFile forKey:@"processReferenceFile"];
    [c encodeBool:isUseSSL forKey:@"isUseSSL"];
    [c encodeInt:scheduleTimeSettings forKey:@"scheduleTimeSettings"];
    [c encodeObject:selectedDays forKey:@"selectedDaysForSchedule"];
    [c encodeBool:sendLogExtract forKey:@"sendLogExtract"];
    [c encodeBool:notifyOnFailure forKey:@"notifyOnFailure"];
    [c encodeBool:isAutoSyncEnabled forKey:@"isAutoSyncEnabled"];
}

- (id)initWithCoder:(NSCoder *)c
{
    if ((self = [super init]) == nil)
        return nil;
    scheduleType = [c decodeIntForKey:@"scheduleType"];
    scheduleTime = [[c decodeObjectForKey:@"scheduleTime"] retain];
    frequency = [c decodeIntForKey:@"frequency"];
    status = [c decodeIntForKey:@"status"];
    destination = [[c decodeObjectForKey:@"destination"] retain];
    username = [[c decodeObjectForKey:@"username"] retain];
    corvaneUserName = [[c decodeObjectForKey:@"corvaneUserName"] retain];
    emailids = [[c decodeObjectForKey:@"emailids"] retain];
    displayDesktopNotification = [c decodeBoolForKey:@"displayDesktopNotification"];
    shouldStartMissedScheduleBackup = [c decodeBoolForKey:@"shouldStartMissedScheduleBackup"];
    sendEmailNotification = [c decodeBoolForKey:@"sendEmailNotification"];
    userAtServer = [[c decodeObjectForKey:@"userAtServer"] retain];
    serverName = [[c decodeObjectForKey:@"serverName"] retain];
    quotaServerName = [[c decodeObjectForKey:@"quotaServerName"] retain];
    password = [[c decodeObjectForKey:@"password"] retain];
    processReferenceFile = [[c decodeObjectForKey:@"processReferenceFile"] retain];
    isUseSSL = [c decodeBoolForKey:@"isUseSSL"];
    scheduleTimeSettings = [c decodeIntForKey:@"scheduleTimeSettings"];
    selectedDays = [[c decodeObjectForKey:@"selectedDaysForSchedule"] retain];
    sendLogExtract = [c decodeBoolForKey:@"sendLogExtract"];
    notifyOnFailure = [c decodeBoolForKey:@"notifyOnFailure"];
    isAutoSyncEnabled = [c decodeBoolForKey:@"isAutoSyncEnabled"];
    return self;
}
@end

static void printText(const char *key, NSString *text)
{
    if (text == nil)
        printf("%s=(nil)\n", key);
    else
        printf("%s=\"%s\"\n", key, [text UTF8String]);
}

static void printItem(CorvaneScheduleItem *r)
{
    printf("scheduleType=%d\n", r->scheduleType);
    if (r->scheduleTime == nil)
        printf("scheduleTime=(nil)\n");
    else
        printf("scheduleTime=%.0f\n", [r->scheduleTime timeIntervalSince1970]);
    printf("frequency=%d\nstatus=%d\n", r->frequency, r->status);
    printText("destination", r->destination);
    printText("username", r->username);
    printText("corvaneUserName", r->corvaneUserName);
    printText("emailids", r->emailids);
    printf("displayDesktopNotification=%d\n", r->displayDesktopNotification ? 1 : 0);
    printf("shouldStartMissedScheduleBackup=%d\n", r->shouldStartMissedScheduleBackup ? 1 : 0);
    printf("sendEmailNotification=%d\n", r->sendEmailNotification ? 1 : 0);
    printText("userAtServer", r->userAtServer);
    printText("serverName", r->serverName);
    printText("quotaServerName", r->quotaServerName);
    printText("password", r->password);
    printText("processReferenceFile", r->processReferenceFile);
    printf("isUseSSL=%d\n", r->isUseSSL ? 1 : 0);
    printf("scheduleTimeSettings=%d\n", r->scheduleTimeSettings);
    if (r->selectedDays == nil) {
        printf("selectedDaysForSchedule=(nil)\n");
    } else {
        printf("selectedDaysForSchedule=[");
        for (NSUInteger i = 0; i < [r->selectedDays count]; ++i)
            printf(i ? ",%d" : "%d", [[r->selectedDays objectAtIndex:i] intValue]);
        printf("]\n");
    }
    printf("sendLogExtract=%d\n", r->sendLogExtract ? 1 : 0);
    printf("notifyOnFailure=%d\n", r->notifyOnFailure ? 1 : 0);
    printf("isAutoSyncEnabled=%d\n", r->isAutoSyncEnabled ? 1 : 0);
    printf("--\n");
}

static NSArray *sampleRecords(void)
{
    CorvaneScheduleItem *a = [[CorvaneScheduleItem new] autorelease];
    a->scheduleType = 0;
    // A calendar date in a zone of its own: GNUstep archives it under "$0", "$1" and "$2".
    a->scheduleTime = [[NSCalendarDate alloc] initWithTimeIntervalSinceReferenceDate:796440600];
    [(NSCalendarDate *)a->scheduleTime setTimeZone:[NSTimeZone timeZoneWithName:@"Europe/Berlin"]];
    a->frequency = 5;
    a->status = 1;
    a->destination = @"My Corvane";
    a->username = @"jürgen";
    a->corvaneUserName = @"Jürgen Ørsted 日本";
    a->emailids = nil;
    a->displayDesktopNotification = YES;
    a->userAtServer = @"jürgen@server";
    a->serverName = @"backup.example.net";
    a->quotaServerName = @"quota.example.net";
    a->password = @"pässwörd";
    a->processReferenceFile = @"/Users/jürgen/Library/Backup Set.plist";
    a->isUseSSL = YES;
    a->scheduleTimeSettings = 0;
    a->selectedDays = [[NSMutableArray alloc] initWithObjects:[NSNumber numberWithInt:1],
                                                              [NSNumber numberWithInt:3],
                                                              [NSNumber numberWithInt:5], nil];
    a->notifyOnFailure = YES;

    CorvaneScheduleItem *b = [[CorvaneScheduleItem new] autorelease];
    b->scheduleType = 1;
    b->scheduleTime = [[NSDate alloc] initWithTimeIntervalSince1970:1800000000];
    b->frequency = 2;
    b->status = 3;
    b->destination = @"Ziel — Ünïcode";
    b->username = @"bob";
    b->corvaneUserName = @"bob";
    b->emailids = @"a@example.net,b@example.net";
    b->shouldStartMissedScheduleBackup = YES;
    b->sendEmailNotification = YES;
    b->userAtServer = @"bob@server";
    b->serverName = @"s";
    b->quotaServerName = @"q";
    b->password = @"secret";
    b->processReferenceFile = @"/tmp/set";
    b->scheduleTimeSettings = 3;
    // Days as the summary window's day matrix sets them: decimal strings.
    b->selectedDays = [[NSMutableArray alloc] initWithObjects:@"0", @"6", nil];
    b->sendLogExtract = YES;
    b->isAutoSyncEnabled = YES;
    return [NSMutableArray arrayWithObjects:a, b, nil];
}

int main(int argc, char **argv)
{
    NSAutoreleasePool *pool = [NSAutoreleasePool new];
    if (argc < 3) {
        fprintf(stderr, "usage: %s write FILE binary|xml | read FILE\n", argv[0]);
        return 2;
    }
    NSString *file = [NSString stringWithUTF8String:argv[2]];
    if (strcmp(argv[1], "write") == 0 && argc == 4) {
        NSArray *records = sampleRecords();
        NSMutableData *data = [NSMutableData data];
        NSKeyedArchiver *archiver = [[NSKeyedArchiver alloc] initForWritingWithMutableData:data];
        [archiver setOutputFormat:strcmp(argv[3], "xml") == 0 ? NSPropertyListXMLFormat_v1_0
                                                              : NSPropertyListBinaryFormat_v1_0];
        [archiver encodeObject:records forKey:@"Schedules"];
        [archiver finishEncoding];
        if (![data writeToFile:file atomically:YES]) {
            fprintf(stderr, "cannot write %s\n", argv[2]);
            return 1;
        }
        for (NSUInteger i = 0; i < [records count]; ++i)
            printItem([records objectAtIndex:i]);
    } else if (strcmp(argv[1], "read") == 0) {
        NSData *data = [NSData dataWithContentsOfFile:file];
        NSKeyedUnarchiver *unarchiver = [[NSKeyedUnarchiver alloc] initForReadingWithData:data];
        NSArray *records = [unarchiver decodeObjectForKey:@"Schedules"];
        if (records == nil) {
            fprintf(stderr, "no records in %s\n", argv[2]);
            return 1;
        }
        for (NSUInteger i = 0; i < [records count]; ++i)
            printItem([records objectAtIndex:i]);
    } else {
        fprintf(stderr, "unknown command\n");
        return 2;
    }
    [pool release];
    return 0;
}
