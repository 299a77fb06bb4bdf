#compdef kxtool kxpkg kxvcard

