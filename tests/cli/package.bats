load support
