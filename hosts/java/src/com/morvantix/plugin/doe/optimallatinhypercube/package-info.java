/** The class with the native method {@code optdoe}. New programs use {@code com.morvantix.doe}. */
package com.morvantix.plugin.doe.optimallatinhypercube;
