# bash completion for kxtool and kxvcard

