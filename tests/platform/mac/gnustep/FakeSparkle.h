#pragma once
// The framework for updates, from its side.

#import <Sparkle/Sparkle.h>

/// The last one that was made.
SPUUpdater* lastUpdater();

/// The delegate that it was made with.
id<SPUUpdaterDelegate> lastUpdaterDelegate();

/// Lets the framework itself change it.
void setCanCheckForUpdates(BOOL can);
