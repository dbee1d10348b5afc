/* global ChromeUtils, ExtensionCommon */
"use strict";

// The account's own junk settings ("Move new junk messages to"), which the mail extension
// interfaces do not show.
var { MailServices } = ChromeUtils.importESModule("resource:///modules/MailServices.sys.mjs");

this.junkSettings = class extends ExtensionCommon.ExtensionAPI {
  getAPI(context) {
    return {
      junkSettings: {
        async getMoveTarget(accountId) {
          const account = MailServices.accounts.getAccount(accountId);
          const settings = account?.incomingServer?.spamSettings;
          if (!settings || !settings.moveOnSpam) return { move: false, folderId: null };
          const uri = settings.spamFolderURI;
          const folder = uri ? MailServices.folderLookup.getFolderForURL(uri) : null;
          const converted = folder ? context.extension.folderManager.convert(folder) : null;
          return { move: true, folderId: converted ? converted.id : null };
        },
      },
    };
  }
};
