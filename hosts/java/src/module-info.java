/** Optimal Latin hypercube designs: requests, designs and scores, and the class with the native method. */
module com.morvantix.doe {
    exports com.morvantix.doe;
    exports com.morvantix.plugin.doe.optimallatinhypercube;
}
