/** What the packages of the library share; not exported. */
package com.morvantix.doe.internal;
