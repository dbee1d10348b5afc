// Mozilla User Preferences
user_pref("mail.server.server1.name", "Local \"Folders\"\n\u00e9");
user_pref("mail.biff.play_sound", false);
pref("extensions.junk.level", -12);
lockPref("mail.spam.version", 1);
user_pref("broken", );
user_pref("big", 2147483648);
/* comment */ user_pref("x", 'single\x41');
